#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/Predicate.h"
#include "platform/store/SortDescriptor.h"

namespace dovrel::store {

class ManagedObject;
class PersistentStore;

// How fetched attributes come back: transformable ones decoded by their value transformer
// (values), or as the data stored in the file (storedData), for callers that decode only some.
enum class AttributeForm { values, storedData };

// What to fetch: the objects of one entity that satisfy a predicate (all when there is none), in
// the order of the sort descriptors, at most fetchLimit of them (0: no limit), from the affected
// stores (all stores of the coordinator when the list is empty). With returnsObjectsAsFaults (the
// default) the objects come back as faults, whose values load on first access; without it their
// values are read by the fetch itself.
class FetchRequestBase {
  public:
    explicit FetchRequestBase(std::string entityName) : entityName_(std::move(entityName)) {}

    const std::string& entityName() const noexcept { return entityName_; }

    const std::optional<Predicate>& predicate() const noexcept { return predicate_; }
    void setPredicate(std::optional<Predicate> predicate) { predicate_ = std::move(predicate); }

    const std::vector<SortDescriptor>& sortDescriptors() const noexcept { return sortDescriptors_; }
    void setSortDescriptors(std::vector<SortDescriptor> descriptors) {
        sortDescriptors_ = std::move(descriptors);
    }

    std::size_t fetchLimit() const noexcept { return fetchLimit_; }
    void setFetchLimit(std::size_t limit) { fetchLimit_ = limit; }

    bool returnsObjectsAsFaults() const noexcept { return returnsObjectsAsFaults_; }
    void setReturnsObjectsAsFaults(bool faults) { returnsObjectsAsFaults_ = faults; }

    const std::vector<std::shared_ptr<PersistentStore>>& affectedStores() const noexcept {
        return affectedStores_;
    }
    void setAffectedStores(std::vector<std::shared_ptr<PersistentStore>> stores) {
        affectedStores_ = std::move(stores);
    }

  private:
    std::string entityName_;
    std::optional<Predicate> predicate_;
    std::vector<SortDescriptor> sortDescriptors_;
    std::size_t fetchLimit_ = 0;
    bool returnsObjectsAsFaults_ = true;
    std::vector<std::shared_ptr<PersistentStore>> affectedStores_;
};

// A fetch request whose results are of the class T (a ManagedObject subclass registered as the
// entity's class). Fetching an entity whose objects are not T stops the process.
template <class T>
class FetchRequest : public FetchRequestBase {
  public:
    using ResultType = T;
    using FetchRequestBase::FetchRequestBase;
};

}  // namespace dovrel::store

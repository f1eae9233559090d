#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/FatalError.h"
#include "platform/store/EntityDescription.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/Predicate.h"
#include "platform/store/SortDescriptor.h"

namespace dovrel {

// What every record class of the store model knows about itself: its entity name, the order in
// which lists of it are shown, and ready-made fetch requests for it.
//
// A record class T derives from store::ManagedObject and from Managed<T>, and provides
//   static const store::EntityDescription& classEntity();
// the description of its entity in the current model. It may hide entityName() and
// defaultSortDescriptors() with its own static functions; the requests below use T's.
//
// Defaults:
//   entityName()              the name of T::classEntity(); an entity without a name is a
//                             programming error and stops the process with
//                             "Entity of a managed class has no name".
//   defaultSortDescriptors()  no sort descriptors.
template <class T>
class Managed {
  public:
    static std::string entityName() {
        const std::string& name = T::classEntity().name();
        if (name.empty()) {
            fatalError("Entity of a managed class has no name");
        }
        return name;
    }

    static std::vector<store::SortDescriptor> defaultSortDescriptors() { return {}; }

    // A request for the objects of T's entity: `predicate` as given (none: every object),
    // `returnsObjectsAsFaults` as given, and the fetch limit set only when `fetchLimit` is given
    // (otherwise no limit). A given limit below 1 is stored as 0, which means no limit. No sort.
    static store::FetchRequest<T> fetchRequest(
        std::optional<store::Predicate> predicate = std::nullopt,
        bool returnsObjectsAsFaults = true, std::optional<std::int64_t> fetchLimit = std::nullopt) {
        store::FetchRequest<T> request(T::entityName());
        request.setPredicate(std::move(predicate));
        request.setReturnsObjectsAsFaults(returnsObjectsAsFaults);
        if (fetchLimit) {
            request.setFetchLimit(*fetchLimit > 0 ? static_cast<std::size_t>(*fetchLimit) : 0);
        }
        return request;
    }

    // fetchRequest() with T's default sort descriptors.
    static store::FetchRequest<T> sortedFetchRequest(
        std::optional<store::Predicate> predicate = std::nullopt,
        bool returnsObjectsAsFaults = true, std::optional<std::int64_t> fetchLimit = std::nullopt) {
        store::FetchRequest<T> request =
            fetchRequest(std::move(predicate), returnsObjectsAsFaults, fetchLimit);
        request.setSortDescriptors(T::defaultSortDescriptors());
        return request;
    }

  protected:
    Managed() = default;
    ~Managed() = default;
};

}  // namespace dovrel

#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/NotificationCenter.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/IndexPath.h"
#include "platform/store/ManagedObject.h"
#include "platform/store/ManagedObjectContext.h"

namespace dovrel::store {

enum class FetchedResultsChangeType { insert = 1, delete_ = 2, move = 3, update = 4 };

// One section of the results: the objects whose section key has the same value.
struct FetchedResultsSectionInfo {
    std::string name;
    std::vector<std::shared_ptr<ManagedObject>> objects;
    std::size_t numberOfObjects() const noexcept { return objects.size(); }
};

class FetchedResultsControllerBase;

// Told how the results changed. One batch of reports comes between controllerWillChangeContent
// and controllerDidChangeContent, in this order: section deletions, section insertions, object
// deletions (old index paths, ascending), insertions (new index paths, ascending), moves
// (ascending by new index path) and updates (old index paths, ascending). Index paths of
// deletions, moves' old paths and updates refer to the results before the batch; insertions and
// moves' new paths to the results after it.
//
// An object changed in place is an update; a changed object whose order among the objects that
// stay in the results changed (or whose section changed) is a move. Objects that only shift
// because others came or went are not reported.
class FetchedResultsControllerDelegate {
  public:
    virtual ~FetchedResultsControllerDelegate() = default;

    virtual void controllerWillChangeContent(FetchedResultsControllerBase&) {}
    // An object change: `indexPath` for delete, move and update; `newIndexPath` for insert and
    // move.
    virtual void controller(FetchedResultsControllerBase&, const std::shared_ptr<ManagedObject>&,
                            std::optional<IndexPath> /*indexPath*/, FetchedResultsChangeType,
                            std::optional<IndexPath> /*newIndexPath*/) {}
    // A section change (insert or delete).
    virtual void controller(FetchedResultsControllerBase&, const FetchedResultsSectionInfo&,
                            std::size_t /*sectionIndex*/, FetchedResultsChangeType) {}
    virtual void controllerDidChangeContent(FetchedResultsControllerBase&) {}
};

// Keeps the results of a fetch request up to date with its context and reports each change.
// The request needs sort descriptors; with a section key (an attribute, which must also be the
// first sort key), objects are grouped into sections named by its value (an absent value is the
// section ""). After performFetch() the controller follows the context's objects-did-change
// notifications, on the context's queue; saves of other contexts reach it through the context's
// merges. Used on the context's queue only.
class FetchedResultsControllerBase {
  public:
    FetchedResultsControllerBase(FetchRequestBase fetchRequest,
                                 std::shared_ptr<ManagedObjectContext> context,
                                 std::optional<std::string> sectionNameKeyPath = std::nullopt,
                                 std::optional<std::string> cacheName = std::nullopt);
    virtual ~FetchedResultsControllerBase() = default;
    FetchedResultsControllerBase(const FetchedResultsControllerBase&) = delete;
    FetchedResultsControllerBase& operator=(const FetchedResultsControllerBase&) = delete;

    // Fetches the results and starts following changes. Throws StoreError when the fetch fails.
    void performFetch();

    // The request; changes take effect at the next performFetch().
    FetchRequestBase& fetchRequest() noexcept { return request_; }
    const FetchRequestBase& fetchRequest() const noexcept { return request_; }
    const std::shared_ptr<ManagedObjectContext>& managedObjectContext() const noexcept {
        return context_;
    }
    const std::optional<std::string>& sectionNameKeyPath() const noexcept { return sectionKey_; }
    const std::optional<std::string>& cacheName() const noexcept { return cacheName_; }
    // Results are not cached on disk, so there is nothing to delete; kept for callers that clear
    // a cache before changing the request.
    static void deleteCache(const std::optional<std::string>& name) { (void)name; }

    void setDelegate(std::weak_ptr<FetchedResultsControllerDelegate> delegate) {
        delegate_ = std::move(delegate);
    }

    // Empty before performFetch().
    std::vector<std::shared_ptr<ManagedObject>> fetchedObjects() const;
    const std::vector<FetchedResultsSectionInfo>& sections() const noexcept { return sections_; }
    // The object at `indexPath`; a path outside the results stops the process.
    std::shared_ptr<ManagedObject> object(const IndexPath& indexPath) const;
    // Where `object` is in the results, or nothing.
    std::optional<IndexPath> indexPath(const std::shared_ptr<ManagedObject>& object) const;

  private:
    void contextDidChange(const Notification& notification);
    std::vector<FetchedResultsSectionInfo> makeSections(
        std::vector<std::shared_ptr<ManagedObject>> objects) const;
    void report(std::vector<FetchedResultsSectionInfo> sections, const ObjectSet& updated);

    FetchRequestBase request_;
    std::shared_ptr<ManagedObjectContext> context_;
    std::optional<std::string> sectionKey_;
    std::optional<std::string> cacheName_;
    std::weak_ptr<FetchedResultsControllerDelegate> delegate_;
    std::vector<FetchedResultsSectionInfo> sections_;
    ObservationToken observation_;
};

// The typed form: objects come back as T.
template <class T>
class FetchedResultsController : public FetchedResultsControllerBase {
  public:
    FetchedResultsController(FetchRequest<T> fetchRequest,
                             std::shared_ptr<ManagedObjectContext> context,
                             std::optional<std::string> sectionNameKeyPath = std::nullopt,
                             std::optional<std::string> cacheName = std::nullopt)
        : FetchedResultsControllerBase(std::move(fetchRequest), std::move(context),
                                       std::move(sectionNameKeyPath), std::move(cacheName)) {}

    std::shared_ptr<T> object(const IndexPath& indexPath) const {
        auto typed = std::dynamic_pointer_cast<T>(FetchedResultsControllerBase::object(indexPath));
        if (!typed) {
            fatalError("Wrong object type");
        }
        return typed;
    }
    std::vector<std::shared_ptr<T>> fetchedObjects() const {
        std::vector<std::shared_ptr<T>> typed;
        for (auto& object : FetchedResultsControllerBase::fetchedObjects()) {
            typed.push_back(std::dynamic_pointer_cast<T>(object));
        }
        return typed;
    }
};

}  // namespace dovrel::store

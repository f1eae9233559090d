#pragma once

#include <cstddef>
#include <optional>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/store/ManagedObjectID.h"

namespace dovrel::store {

// The member IDs of one loaded to-many relationship: each ID at most once, in the order they
// were added. Membership is answered without a scan once the list is long (a hash index is
// built on first need), so that filling a relationship of n members costs O(n), not O(n^2).
// Removing is linear in the list's length.
class MemberList {
  public:
    using const_iterator = std::vector<ManagedObjectID>::const_iterator;

    MemberList() = default;
    // `ids` must not repeat an ID.
    explicit MemberList(std::vector<ManagedObjectID> ids) : ids_(std::move(ids)) {}

    bool contains(const ManagedObjectID& id) const;
    // Appends `id` unless it is already a member.
    void add(const ManagedObjectID& id);
    // Removes `id` if it is a member.
    void remove(const ManagedObjectID& id);

    // Lets `change` rewrite every member ID in place (a temporary ID becoming permanent). The
    // rewritten IDs must still be distinct.
    template <class Change>
    void rewriteEach(Change&& change) {
        for (auto& id : ids_) {
            const ManagedObjectID before = id;
            change(id);
            if (index_ && !(id == before)) {
                index_->erase(before);
                index_->insert(id);
            }
        }
    }

    std::size_t size() const noexcept { return ids_.size(); }
    bool empty() const noexcept { return ids_.empty(); }
    const_iterator begin() const noexcept { return ids_.begin(); }
    const_iterator end() const noexcept { return ids_.end(); }

  private:
    // Below this length a scan is cheaper than keeping an index.
    static constexpr std::size_t kIndexThreshold = 16;

    std::vector<ManagedObjectID> ids_;
    mutable std::optional<std::unordered_set<ManagedObjectID>> index_;
};

}  // namespace dovrel::store

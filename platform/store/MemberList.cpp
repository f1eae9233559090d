#include "platform/store/MemberList.h"

#include <algorithm>

namespace dovrel::store {

bool MemberList::contains(const ManagedObjectID& id) const {
    if (ids_.size() < kIndexThreshold) {
        return std::find(ids_.begin(), ids_.end(), id) != ids_.end();
    }
    if (!index_) {
        index_.emplace(ids_.begin(), ids_.end());
    }
    return index_->contains(id);
}

void MemberList::add(const ManagedObjectID& id) {
    if (contains(id)) {
        return;
    }
    ids_.push_back(id);
    if (index_) {
        index_->insert(id);
    }
}

void MemberList::remove(const ManagedObjectID& id) {
    if (!contains(id)) {
        return;
    }
    ids_.erase(std::find(ids_.begin(), ids_.end(), id));
    if (index_) {
        index_->erase(id);
    }
}

}  // namespace dovrel::store

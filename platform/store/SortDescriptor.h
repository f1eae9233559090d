#pragma once

#include <memory>
#include <string>
#include <vector>

namespace dovrel::store {

// Orders fetched objects by one attribute. Nulls come first in ascending order; strings compare
// by their UTF-8 bytes. Objects equal under every descriptor of a request keep the order of their
// object IDs.
struct SortDescriptor {
    std::string key;
    bool ascending = true;

    friend bool operator==(const SortDescriptor&, const SortDescriptor&) = default;
};

class ManagedObject;

// Sorts objects (stably) by the descriptors, then by object ID, as a fetch orders them.
void sortObjects(std::vector<std::shared_ptr<ManagedObject>>& objects,
                 const std::vector<SortDescriptor>& descriptors);

}  // namespace dovrel::store

#pragma once

#include <string>

namespace dovrel::store {

// Orders fetched objects by one attribute. Nulls come first in ascending order; strings compare
// by their UTF-8 bytes. Objects equal under every descriptor of a request keep the order of their
// object IDs.
struct SortDescriptor {
    std::string key;
    bool ascending = true;

    friend bool operator==(const SortDescriptor&, const SortDescriptor&) = default;
};

}  // namespace dovrel::store

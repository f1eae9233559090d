#pragma once

#include <plist/plist.h>

#include <memory>
#include <optional>
#include <type_traits>

#include "platform/foundation/Data.h"

namespace dovrel {

// Owns a libplist node tree and frees it with plist_free when it goes. A node that was handed
// to a container (plist_dict_set_item, plist_array_append_item) belongs to the container from
// then on: release() it first.
struct PlistNodeDeleter {
    void operator()(plist_t node) const noexcept { plist_free(node); }
};
using PlistNode = std::unique_ptr<std::remove_pointer_t<plist_t>, PlistNodeDeleter>;

// The binary property-list bytes ("bplist00...") of `root`.
Data binaryPropertyList(plist_t root);

// The tree that binary property-list bytes describe, or nothing when `data` is not a complete,
// well-formed binary property list (XML and other text forms are not accepted).
std::optional<PlistNode> parseBinaryPropertyList(const Data& data);

}  // namespace dovrel

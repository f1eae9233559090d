#include "platform/store/SortDescriptor.h"

#include <algorithm>

#include "platform/store/ManagedObject.h"

namespace dovrel::store {

namespace {

// Booleans are stored as integers and sort as such.
Value sortable(const Value& value) {
    if (auto boolean = value.boolean()) {
        return Value(std::int64_t{*boolean ? 1 : 0});
    }
    return value;
}

}  // namespace

void sortObjects(std::vector<std::shared_ptr<ManagedObject>>& objects,
                 const std::vector<SortDescriptor>& descriptors) {
    std::stable_sort(objects.begin(), objects.end(), [&](const auto& lhs, const auto& rhs) {
        for (const auto& descriptor : descriptors) {
            const int order = compareValues(sortable(lhs->value(descriptor.key)),
                                            sortable(rhs->value(descriptor.key)));
            if (order != 0) {
                return descriptor.ascending ? order < 0 : order > 0;
            }
        }
        return lhs->objectID() < rhs->objectID();
    });
}

}  // namespace dovrel::store

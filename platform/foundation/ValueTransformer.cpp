#include "platform/foundation/ValueTransformer.h"

#include <map>
#include <mutex>
#include <shared_mutex>
#include <utility>

namespace dovrel {

namespace {

struct Registry {
    std::shared_mutex mutex;
    std::map<std::string, std::shared_ptr<ValueTransformer>, std::less<>> transformers;
};

Registry& registry() {
    // Never destroyed: lookups may still happen from other threads while the process exits.
    static Registry* const instance = new Registry();
    return *instance;
}

}  // namespace

std::any ValueTransformer::reverseTransformedValue(const std::any& value) const {
    return transformedValue(value);
}

void ValueTransformer::setValueTransformer(std::shared_ptr<ValueTransformer> transformer,
                                           std::string name) {
    Registry& shared = registry();
    const std::unique_lock lock(shared.mutex);
    if (transformer == nullptr) {
        shared.transformers.erase(name);
    } else {
        shared.transformers.insert_or_assign(std::move(name), std::move(transformer));
    }
}

std::shared_ptr<ValueTransformer> ValueTransformer::valueTransformer(std::string_view name) {
    Registry& shared = registry();
    const std::shared_lock lock(shared.mutex);
    const auto found = shared.transformers.find(name);
    return found == shared.transformers.end() ? nullptr : found->second;
}

}  // namespace dovrel

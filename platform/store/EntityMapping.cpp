#include "platform/store/EntityMapping.h"

#include "platform/store/ManagedObject.h"

namespace dovrel::store {

AttributeMapping AttributeMapping::renamed(std::string name, std::string sourceKey) {
    return {std::move(name), [sourceKey = std::move(sourceKey)](const ManagedObject& source) {
                return source.value(sourceKey);
            }};
}

AttributeMapping AttributeMapping::computed(
    std::string name, std::function<Value(const ManagedObject& source)> expression) {
    return {std::move(name), std::move(expression)};
}

AttributeMapping AttributeMapping::defaultValue(std::string name) {
    return {std::move(name), nullptr};
}

const AttributeMapping* EntityMapping::attributeMapping(const std::string& attribute) const {
    for (const auto& mapping : attributeMappings) {
        if (mapping.name == attribute) {
            return &mapping;
        }
    }
    return nullptr;
}

const RelationshipMapping* EntityMapping::relationshipMapping(
    const std::string& relationship) const {
    for (const auto& mapping : relationshipMappings) {
        if (mapping.name == relationship) {
            return &mapping;
        }
    }
    return nullptr;
}

}  // namespace dovrel::store

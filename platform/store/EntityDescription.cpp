#include "platform/store/EntityDescription.h"

#include "platform/foundation/FatalError.h"
#include "platform/store/ManagedObject.h"

namespace dovrel::store {

std::string_view attributeTypeName(AttributeType type) {
    switch (type) {
        case AttributeType::integer64AttributeType:
            return "integer 64";
        case AttributeType::doubleAttributeType:
            return "double";
        case AttributeType::booleanAttributeType:
            return "boolean";
        case AttributeType::stringAttributeType:
            return "string";
        case AttributeType::dateAttributeType:
            return "date";
        case AttributeType::binaryDataAttributeType:
            return "binary";
        case AttributeType::transformableAttributeType:
            return "transformable";
    }
    return "unknown";
}

EntityDescription::EntityDescription(std::string name) : name_(std::move(name)) {}

EntityDescription& EntityDescription::addAttribute(AttributeDescription attribute) {
    if (attribute.name.empty() || attribute.name.starts_with("Z_") ||
        attributeIndexes_.contains(attribute.name) ||
        relationshipIndexes_.contains(attribute.name)) {
        fatalError("Invalid or duplicate property name \"" + attribute.name + "\" in entity " +
                   name_);
    }
    attributeIndexes_.emplace(attribute.name, attributes_.size());
    attributes_.push_back(std::move(attribute));
    return *this;
}

EntityDescription& EntityDescription::addRelationship(RelationshipDescription relationship) {
    if (relationship.name.empty() || relationship.name.starts_with("Z_") ||
        attributeIndexes_.contains(relationship.name) ||
        relationshipIndexes_.contains(relationship.name)) {
        fatalError("Invalid or duplicate property name \"" + relationship.name + "\" in entity " +
                   name_);
    }
    relationship.slot = relationship.isToMany ? toManyCount_++ : toOneCount_++;
    relationshipIndexes_.emplace(relationship.name, relationships_.size());
    relationships_.push_back(std::move(relationship));
    return *this;
}

EntityDescription& EntityDescription::setClassFactory(ClassFactory factory) {
    factory_ = std::move(factory);
    return *this;
}

std::map<std::string, const AttributeDescription*> EntityDescription::attributesByName() const {
    std::map<std::string, const AttributeDescription*> result;
    for (const auto& attribute : attributes_) {
        result.emplace(attribute.name, &attribute);
    }
    return result;
}

std::map<std::string, const RelationshipDescription*> EntityDescription::relationshipsByName()
    const {
    std::map<std::string, const RelationshipDescription*> result;
    for (const auto& relationship : relationships_) {
        result.emplace(relationship.name, &relationship);
    }
    return result;
}

std::optional<std::size_t> EntityDescription::attributeIndex(std::string_view name) const {
    // Every setValue and value() by name comes here. An entity has a handful of attributes, whose
    // names mostly differ in length: a scan that compares lengths first beats the map's string
    // comparisons.
    if (attributes_.size() <= 16) {
        for (std::size_t index = 0; index < attributes_.size(); ++index) {
            const std::string& candidate = attributes_[index].name;
            if (candidate.size() == name.size() && candidate == name) {
                return index;
            }
        }
        return std::nullopt;
    }
    if (auto found = attributeIndexes_.find(name); found != attributeIndexes_.end()) {
        return found->second;
    }
    return std::nullopt;
}

const AttributeDescription* EntityDescription::attribute(std::string_view name) const {
    auto index = attributeIndex(name);
    return index ? &attributes_[*index] : nullptr;
}

const RelationshipDescription* EntityDescription::relationship(std::string_view name) const {
    if (auto found = relationshipIndexes_.find(name); found != relationshipIndexes_.end()) {
        return &relationships_[found->second];
    }
    return nullptr;
}

std::shared_ptr<ManagedObject> EntityDescription::makeObject() const {
    if (factory_) {
        auto object = factory_();
        if (!object) {
            fatalError("The class factory of entity " + name_ + " made no object");
        }
        return object;
    }
    return std::make_shared<ManagedObject>();
}

}  // namespace dovrel::store

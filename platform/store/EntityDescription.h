#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/store/Value.h"

namespace dovrel::store {

class EntityDescription;
class ManagedObject;
class ManagedObjectModel;

// How an attribute is stored. Every type may be null unless the attribute is not optional.
//   integer64AttributeType    64-bit signed integer (INTEGER column)
//   doubleAttributeType       double (REAL)
//   booleanAttributeType      bool (INTEGER 0 or 1)
//   stringAttributeType       UTF-8 text (TEXT)
//   dateAttributeType         Date, seconds since 2001-01-01 00:00:00 UTC (REAL)
//   binaryDataAttributeType   Data (BLOB)
//   transformableAttributeType an object (Value::object) turned into a BLOB by the value
//                             transformer registered under `valueTransformerName`
enum class AttributeType {
    integer64AttributeType,
    doubleAttributeType,
    booleanAttributeType,
    stringAttributeType,
    dateAttributeType,
    binaryDataAttributeType,
    transformableAttributeType,
};

// "integer 64", "double", "boolean", "string", "date", "binary" or "transformable".
std::string_view attributeTypeName(AttributeType type);

struct AttributeDescription {
    AttributeDescription(std::string name, AttributeType attributeType, bool isOptional = true,
                         Value defaultValue = Value(), std::string valueTransformerName = {})
        : name(std::move(name)),
          attributeType(attributeType),
          isOptional(isOptional),
          defaultValue(std::move(defaultValue)),
          valueTransformerName(std::move(valueTransformerName)) {}

    std::string name;
    AttributeType attributeType = AttributeType::stringAttributeType;
    // A save fails with a validation error while a non-optional attribute is null.
    bool isOptional = true;
    // The value of the attribute in a newly inserted object.
    Value defaultValue;
    // For transformable attributes: the name under which the transformer is registered.
    std::string valueTransformerName;
};

// What deleting an object does to the objects at the other end of one of its relationships.
//   nullifyDeleteRule  they stop referring to the deleted object
//   cascadeDeleteRule  they are deleted as well
//   denyDeleteRule     the save fails while the relationship still holds an object
enum class DeleteRule { nullifyDeleteRule, cascadeDeleteRule, denyDeleteRule };

struct RelationshipDescription {
    RelationshipDescription(std::string name, std::string destinationEntityName,
                            std::string inverseName, bool isToMany,
                            DeleteRule deleteRule = DeleteRule::nullifyDeleteRule)
        : name(std::move(name)),
          destinationEntityName(std::move(destinationEntityName)),
          inverseName(std::move(inverseName)),
          isToMany(isToMany),
          deleteRule(deleteRule) {}

    std::string name;
    std::string destinationEntityName;
    // The relationship of the destination entity that points back; empty for none. A to-many
    // relationship must have a to-one inverse (the store keeps the link as a column of the
    // destination's table).
    std::string inverseName;
    bool isToMany = false;
    DeleteRule deleteRule = DeleteRule::nullifyDeleteRule;

    // Resolved when the model is made.
    const EntityDescription* destinationEntity = nullptr;
    const RelationshipDescription* inverseRelationship = nullptr;
    // The position of this relationship among the entity's to-one (or to-many) relationships.
    std::size_t slot = 0;
};

// One kind of managed object: a name, attributes, relationships and the class whose instances
// represent its objects. Built before the model; immutable once it is part of a model.
class EntityDescription {
  public:
    using ClassFactory = std::function<std::shared_ptr<ManagedObject>()>;

    explicit EntityDescription(std::string name);

    const std::string& name() const noexcept { return name_; }

    EntityDescription& addAttribute(AttributeDescription attribute);
    EntityDescription& addRelationship(RelationshipDescription relationship);
    // The factory that makes instances of the entity's class (plain ManagedObject by default).
    EntityDescription& setClassFactory(ClassFactory factory);
    template <class T>
    EntityDescription& setManagedObjectClass() {
        return setClassFactory([] { return std::make_shared<T>(); });
    }

    const std::vector<AttributeDescription>& attributes() const noexcept { return attributes_; }
    const std::vector<RelationshipDescription>& relationships() const noexcept {
        return relationships_;
    }
    std::map<std::string, const AttributeDescription*> attributesByName() const;
    std::map<std::string, const RelationshipDescription*> relationshipsByName() const;

    // The position of the attribute named `name` in attributes(), or nothing.
    std::optional<std::size_t> attributeIndex(std::string_view name) const;
    const AttributeDescription* attribute(std::string_view name) const;
    const RelationshipDescription* relationship(std::string_view name) const;

    std::size_t toOneCount() const noexcept { return toOneCount_; }
    std::size_t toManyCount() const noexcept { return toManyCount_; }

    // The model this entity belongs to (null before the model is made).
    const ManagedObjectModel* managedObjectModel() const noexcept { return model_; }

    // A new, unregistered instance of the entity's class.
    std::shared_ptr<ManagedObject> makeObject() const;

  private:
    friend class ManagedObjectModel;

    std::string name_;
    std::vector<AttributeDescription> attributes_;
    std::vector<RelationshipDescription> relationships_;
    std::map<std::string, std::size_t, std::less<>> attributeIndexes_;
    std::map<std::string, std::size_t, std::less<>> relationshipIndexes_;
    std::size_t toOneCount_ = 0;
    std::size_t toManyCount_ = 0;
    ClassFactory factory_;
    const ManagedObjectModel* model_ = nullptr;
};

}  // namespace dovrel::store

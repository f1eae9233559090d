#include "platform/store/ManagedObject.h"

#include "platform/foundation/FatalError.h"
#include "platform/store/ManagedObjectContext.h"

namespace dovrel::store {

namespace {

bool accepts(AttributeType type, const Value& value) {
    switch (value.kind()) {
        case Value::Kind::null:
            return true;
        case Value::Kind::integer:
            return type == AttributeType::integer64AttributeType ||
                   type == AttributeType::doubleAttributeType;
        case Value::Kind::real:
            return type == AttributeType::doubleAttributeType;
        case Value::Kind::boolean:
            return type == AttributeType::booleanAttributeType;
        case Value::Kind::string:
            return type == AttributeType::stringAttributeType;
        case Value::Kind::date:
            return type == AttributeType::dateAttributeType;
        case Value::Kind::data:
            return type == AttributeType::binaryDataAttributeType ||
                   type == AttributeType::transformableAttributeType;
        case Value::Kind::object:
            return type == AttributeType::transformableAttributeType;
    }
    return false;
}

const char* kindName(Value::Kind kind) {
    switch (kind) {
        case Value::Kind::null:
            return "nil";
        case Value::Kind::integer:
            return "integer";
        case Value::Kind::real:
            return "double";
        case Value::Kind::boolean:
            return "boolean";
        case Value::Kind::string:
            return "string";
        case Value::Kind::date:
            return "date";
        case Value::Kind::data:
            return "binary";
        case Value::Kind::object:
            return "object";
    }
    return "unknown";
}

}  // namespace

const EntityDescription& ManagedObject::entity() const {
    if (entity_ == nullptr) {
        fatalError("A managed object was made outside a context");
    }
    return *entity_;
}

const ManagedObjectID& ManagedObject::objectID() const {
    return id_;
}

void ManagedObject::checkQueue() const {
#ifdef DOVREL_DEBUG
    if (context_ != nullptr && !context_->isOnQueue()) {
        fatalError("Managed object of entity " + entity_->name() +
                   " used off the queue of its context");
    }
#endif
}

void ManagedObject::fulfill() const {
    if (fault_) {
        if (context_ == nullptr) {
            fatalError("Could not fulfill a fault for " + id_.uriRepresentation() +
                       ": the object has no context");
        }
        context_->fireFault(const_cast<ManagedObject&>(*this));
    }
}

Value ManagedObject::value(std::string_view key) const {
    checkQueue();
    auto index = entity().attributeIndex(key);
    if (!index) {
        const RelationshipDescription* relationship = entity_->relationship(key);
        if (relationship == nullptr) {
            fatalError("Entity " + entity_->name() + " has no attribute \"" + std::string(key) +
                       "\"");
        }
        if (relationship->isToMany) {
            auto members = objects(key);
            ObjectSet set;
            set.reserve(
                members.size());  // one allocation of buckets instead of a rehash per growth
            set.insert(std::make_move_iterator(members.begin()),
                       std::make_move_iterator(members.end()));
            return Value::object(std::move(set));
        }
        auto destination = object(key);
        return destination ? Value::object(std::move(destination)) : Value();
    }
    fulfill();
    return values_[*index];
}

const Value& ManagedObject::attributeValue(std::string_view key) const {
    checkQueue();
    const auto index = entity().attributeIndex(key);
    if (!index) {
        fatalError("Entity " + entity_->name() + " has no attribute \"" + std::string(key) + "\"");
    }
    fulfill();
    return values_[*index];
}

void ManagedObject::setValue(Value value, std::string_view key) {
    checkQueue();
    auto index = entity().attributeIndex(key);
    if (!index && entity().relationship(key) != nullptr) {
        setRelationshipValue(value, *entity_->relationship(key));
        return;
    }
    if (!index) {
        fatalError("Entity " + entity_->name() + " has no attribute \"" + std::string(key) + "\"");
    }
    const auto& attribute = entity_->attributes()[*index];
    if (!accepts(attribute.attributeType, value)) {
        fatalError("Unacceptable type of value for attribute: property = \"" + attribute.name +
                   "\"; desired type = " + std::string(attributeTypeName(attribute.attributeType)) +
                   "; given type = " + kindName(value.kind()));
    }
    if (attribute.attributeType == AttributeType::doubleAttributeType && value.integer()) {
        value = Value(static_cast<double>(*value.integer()));
    }
    fulfill();
    if (context_ != nullptr) {
        context_->willChange(*this, true);
    }
    values_[*index] = std::move(value);
    if (!changedAttributes_.empty()) {
        changedAttributes_[*index] = true;
    }
}

void ManagedObject::setRelationshipValue(const Value& value,
                                         const RelationshipDescription& relationship) {
    if (!relationship.isToMany) {
        if (value.isNull()) {
            setObject(nullptr, relationship.name);
            return;
        }
        auto destination = value.objectAs<std::shared_ptr<ManagedObject>>();
        if (!destination) {
            fatalError("The relationship \"" + relationship.name +
                       "\" takes a managed object, not " + kindName(value.kind()));
        }
        setObject(*destination, relationship.name);
        return;
    }
    auto members = value.objectAs<ObjectSet>();
    if (!members) {
        fatalError("The relationship \"" + relationship.name + "\" takes a set of objects, not " +
                   kindName(value.kind()));
    }
    for (const auto& member : objects(relationship.name)) {
        if (!members->contains(member)) {
            removeObject(member, relationship.name);
        }
    }
    for (const auto& member : *members) {
        addObject(member, relationship.name);
    }
}

const RelationshipDescription& ManagedObject::relationshipNamed(std::string_view key,
                                                                bool toMany) const {
    const RelationshipDescription* relationship = entity().relationship(key);
    if (relationship == nullptr || relationship->isToMany != toMany) {
        fatalError("Entity " + entity_->name() + " has no " + (toMany ? "to-many" : "to-one") +
                   " relationship \"" + std::string(key) + "\"");
    }
    return *relationship;
}

std::optional<ManagedObjectID> ManagedObject::objectIDForRelationship(std::string_view key) const {
    checkQueue();
    const auto& relationship = relationshipNamed(key, false);
    fulfill();
    return toOne_[relationship.slot];
}

std::shared_ptr<ManagedObject> ManagedObject::object(std::string_view key) const {
    auto id = objectIDForRelationship(key);
    if (!id) {
        return nullptr;
    }
    if (context_ == nullptr) {
        fatalError("The relationship \"" + std::string(key) + "\" of an object without a context " +
                   "cannot be followed");
    }
    return context_->object(*id);
}

void ManagedObject::setObject(const std::shared_ptr<ManagedObject>& destination,
                              std::string_view key) {
    checkQueue();
    const auto& relationship = relationshipNamed(key, false);
    if (context_ == nullptr) {
        fatalError("An object without a context cannot change its relationships");
    }
    if (destination && destination->context_ != context_) {
        fatalError("Illegal attempt to establish a relationship \"" + relationship.name +
                   "\" between objects in different contexts");
    }
    if (destination && &destination->entity() != relationship.destinationEntity) {
        fatalError("The relationship \"" + relationship.name + "\" needs an object of entity " +
                   relationship.destinationEntity->name());
    }
    fulfill();
    context_->setToOne(*this, relationship,
                       destination ? std::optional(destination->objectID()) : std::nullopt);
}

std::vector<std::shared_ptr<ManagedObject>> ManagedObject::objects(std::string_view key) const {
    checkQueue();
    const auto& relationship = relationshipNamed(key, true);
    if (!toMany_[relationship.slot]) {
        if (context_ == nullptr) {
            fatalError("The relationship \"" + std::string(key) +
                       "\" of an object without a context cannot be loaded");
        }
        context_->loadToMany(const_cast<ManagedObject&>(*this), relationship);
    }
    std::vector<std::shared_ptr<ManagedObject>> members;
    members.reserve(toMany_[relationship.slot]->size());
    for (const auto& id : *toMany_[relationship.slot]) {
        members.push_back(context_->object(id));
    }
    return members;
}

void ManagedObject::addObject(const std::shared_ptr<ManagedObject>& member,
                              std::string_view toKey) {
    checkQueue();
    const auto& relationship = relationshipNamed(toKey, true);
    if (!member) {
        fatalError("Cannot add a null object to the relationship \"" + relationship.name + "\"");
    }
    member->setObject(shared_from_this(), relationship.inverseRelationship->name);
}

void ManagedObject::removeObject(const std::shared_ptr<ManagedObject>& member,
                                 std::string_view fromKey) {
    checkQueue();
    const auto& relationship = relationshipNamed(fromKey, true);
    if (member && member->objectIDForRelationship(relationship.inverseRelationship->name) == id_) {
        member->setObject(nullptr, relationship.inverseRelationship->name);
    }
}

bool ManagedObject::hasFaultForRelationship(std::string_view key) const {
    checkQueue();
    const auto& relationship = relationshipNamed(key, true);
    return !toMany_[relationship.slot].has_value();
}

bool ManagedObject::isInserted() const {
    checkQueue();
    return inserted_;
}

bool ManagedObject::isUpdated() const {
    checkQueue();
    return updated_;
}

bool ManagedObject::isDeleted() const {
    checkQueue();
    return deleted_;
}

bool ManagedObject::hasChanges() const {
    checkQueue();
    return inserted_ || updated_ || deleted_;
}

std::map<std::string, Value> ManagedObject::changedValues() const {
    checkQueue();
    std::map<std::string, Value> changes;
    const auto& attributes = entity().attributes();
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        if (inserted_ || (i < changedAttributes_.size() && changedAttributes_[i])) {
            changes.emplace(attributes[i].name, values_[i]);
        }
    }
    return changes;
}

std::map<std::string, Value> ManagedObject::committedValues() const {
    checkQueue();
    fulfill();
    std::map<std::string, Value> values;
    const auto& attributes = entity().attributes();
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        values.emplace(attributes[i].name, committed_ ? committed_->values[i] : values_[i]);
    }
    return values;
}

}  // namespace dovrel::store

#include "platform/store/Predicate.h"

#include <variant>

#include "platform/foundation/FatalError.h"
#include "platform/store/EntityDescription.h"
#include "platform/store/ManagedObject.h"

namespace dovrel::store {

struct Predicate::Node {
    enum class Kind { constant, comparison, relationship, conjunction, disjunction, negation };
    Kind kind = Kind::constant;
    bool constant = false;
    std::string key;
    Operator op = Operator::equalTo;
    Value value;
    std::optional<ManagedObjectID> destination;
    std::vector<Predicate> subpredicates;
};

namespace {

const char* operatorText(Predicate::Operator op) {
    switch (op) {
        case Predicate::Operator::equalTo:
            return "==";
        case Predicate::Operator::notEqualTo:
            return "!=";
        case Predicate::Operator::lessThan:
            return "<";
        case Predicate::Operator::lessThanOrEqualTo:
            return "<=";
        case Predicate::Operator::greaterThan:
            return ">";
        case Predicate::Operator::greaterThanOrEqualTo:
            return ">=";
    }
    return "?";
}

const AttributeDescription& comparableAttribute(const EntityDescription& entity,
                                                const std::string& key) {
    const AttributeDescription* attribute = entity.attribute(key);
    if (attribute == nullptr) {
        fatalError("Predicate key \"" + key + "\" is not an attribute of entity " + entity.name());
    }
    if (attribute->attributeType == AttributeType::transformableAttributeType) {
        fatalError("Predicate key \"" + key + "\" is a transformable attribute of entity " +
                   entity.name());
    }
    return *attribute;
}

const RelationshipDescription& toOneRelationship(const EntityDescription& entity,
                                                 const std::string& key) {
    const RelationshipDescription* relationship = entity.relationship(key);
    if (relationship == nullptr || relationship->isToMany) {
        fatalError("Predicate key \"" + key + "\" is not a to-one relationship of entity " +
                   entity.name());
    }
    return *relationship;
}

// Booleans are stored as integers; compare them as such.
Value normalized(const Value& value) {
    if (auto boolean = value.boolean()) {
        return Value(std::int64_t{*boolean ? 1 : 0});
    }
    return value;
}

std::string quoted(const std::string& identifier) {
    std::string result = "\"";
    for (char c : identifier) {
        result += c;
        if (c == '"') {
            result += '"';
        }
    }
    return result + "\"";
}

}  // namespace

Predicate Predicate::value(bool value) {
    auto node = std::make_shared<Node>();
    node->kind = Node::Kind::constant;
    node->constant = value;
    return Predicate(node);
}

Predicate Predicate::comparison(std::string key, Operator op, Value value) {
    if (value.kind() == Value::Kind::object) {
        fatalError("A predicate cannot compare with an object value");
    }
    auto node = std::make_shared<Node>();
    node->kind = Node::Kind::comparison;
    node->key = std::move(key);
    node->op = op;
    node->value = std::move(value);
    return Predicate(node);
}

Predicate Predicate::relationship(std::string key, Operator op,
                                  std::optional<ManagedObjectID> destination) {
    if (op != Operator::equalTo && op != Operator::notEqualTo) {
        fatalError("A relationship can only be compared with == or !=");
    }
    auto node = std::make_shared<Node>();
    node->kind = Node::Kind::relationship;
    node->key = std::move(key);
    node->op = op;
    node->destination = std::move(destination);
    return Predicate(node);
}

Predicate Predicate::andPredicate(std::vector<Predicate> subpredicates) {
    auto node = std::make_shared<Node>();
    node->kind = Node::Kind::conjunction;
    node->subpredicates = std::move(subpredicates);
    return Predicate(node);
}

Predicate Predicate::orPredicate(std::vector<Predicate> subpredicates) {
    auto node = std::make_shared<Node>();
    node->kind = Node::Kind::disjunction;
    node->subpredicates = std::move(subpredicates);
    return Predicate(node);
}

Predicate Predicate::notPredicate(Predicate subpredicate) {
    auto node = std::make_shared<Node>();
    node->kind = Node::Kind::negation;
    node->subpredicates.push_back(std::move(subpredicate));
    return Predicate(node);
}

bool Predicate::evaluate(const ManagedObject& object) const {
    const Node& node = *node_;
    switch (node.kind) {
        case Node::Kind::constant:
            return node.constant;
        case Node::Kind::comparison: {
            comparableAttribute(object.entity(), node.key);
            const Value lhs = normalized(object.value(node.key));
            const Value rhs = normalized(node.value);
            const int order = compareValues(lhs, rhs);
            switch (node.op) {
                case Operator::equalTo:
                    return order == 0;
                case Operator::notEqualTo:
                    return order != 0;
                default:
                    break;
            }
            if (lhs.isNull() || rhs.isNull()) {
                return false;
            }
            switch (node.op) {
                case Operator::lessThan:
                    return order < 0;
                case Operator::lessThanOrEqualTo:
                    return order <= 0;
                case Operator::greaterThan:
                    return order > 0;
                case Operator::greaterThanOrEqualTo:
                    return order >= 0;
                default:
                    return false;
            }
        }
        case Node::Kind::relationship: {
            toOneRelationship(object.entity(), node.key);
            const bool equal = object.objectIDForRelationship(node.key) == node.destination;
            return node.op == Operator::equalTo ? equal : !equal;
        }
        case Node::Kind::conjunction:
            for (const auto& sub : node.subpredicates) {
                if (!sub.evaluate(object)) {
                    return false;
                }
            }
            return true;
        case Node::Kind::disjunction:
            for (const auto& sub : node.subpredicates) {
                if (sub.evaluate(object)) {
                    return true;
                }
            }
            return false;
        case Node::Kind::negation:
            return !node.subpredicates.front().evaluate(object);
    }
    return false;
}

std::string Predicate::sql(const EntityDescription& entity, const StoreUUID& store,
                           std::vector<Value>& bindings) const {
    const Node& node = *node_;
    switch (node.kind) {
        case Node::Kind::constant:
            return node.constant ? "1" : "0";
        case Node::Kind::comparison: {
            comparableAttribute(entity, node.key);
            const std::string column = quoted(node.key);
            bindings.push_back(normalized(node.value));
            switch (node.op) {
                case Operator::equalTo:
                    return "(" + column + " IS ?)";
                case Operator::notEqualTo:
                    return "(" + column + " IS NOT ?)";
                default:
                    return "(" + column + " " + operatorText(node.op) + " ?)";
            }
        }
        case Node::Kind::relationship: {
            toOneRelationship(entity, node.key);
            const std::string column = quoted(node.key);
            const bool equal = node.op == Operator::equalTo;
            if (!node.destination) {
                return "(" + column + (equal ? " IS NULL)" : " IS NOT NULL)");
            }
            if (node.destination->isTemporaryID() || node.destination->storeUUID() != store) {
                // No stored row can point at it.
                return equal ? "0" : "1";
            }
            bindings.emplace_back(node.destination->primaryKey());
            return "(" + column + (equal ? " IS ?)" : " IS NOT ?)");
        }
        case Node::Kind::conjunction:
        case Node::Kind::disjunction: {
            if (node.subpredicates.empty()) {
                return node.kind == Node::Kind::conjunction ? "1" : "0";
            }
            std::string result = "(";
            for (std::size_t i = 0; i < node.subpredicates.size(); ++i) {
                if (i > 0) {
                    result += node.kind == Node::Kind::conjunction ? " AND " : " OR ";
                }
                result += node.subpredicates[i].sql(entity, store, bindings);
            }
            return result + ")";
        }
        case Node::Kind::negation:
            return "(NOT " + node.subpredicates.front().sql(entity, store, bindings) + ")";
    }
    return "0";
}

std::string Predicate::predicateFormat() const {
    const Node& node = *node_;
    switch (node.kind) {
        case Node::Kind::constant:
            return node.constant ? "TRUEPREDICATE" : "FALSEPREDICATE";
        case Node::Kind::comparison:
            return node.key + " " + operatorText(node.op) + " " + node.value.description();
        case Node::Kind::relationship:
            return node.key + " " + operatorText(node.op) + " " +
                   (node.destination ? node.destination->uriRepresentation() : "nil");
        case Node::Kind::conjunction:
        case Node::Kind::disjunction: {
            std::string result;
            for (std::size_t i = 0; i < node.subpredicates.size(); ++i) {
                if (i > 0) {
                    result += node.kind == Node::Kind::conjunction ? " AND " : " OR ";
                }
                const auto text = node.subpredicates[i].predicateFormat();
                const auto kind = node.subpredicates[i].node_->kind;
                const bool compound =
                    kind == Node::Kind::conjunction || kind == Node::Kind::disjunction;
                result += compound ? "(" + text + ")" : text;
            }
            return result;
        }
        case Node::Kind::negation:
            return "NOT (" + node.subpredicates.front().predicateFormat() + ")";
    }
    return "";
}

Predicate Key::operator==(Value value) const {
    return Predicate::comparison(name_, Predicate::Operator::equalTo, std::move(value));
}
Predicate Key::operator!=(Value value) const {
    return Predicate::comparison(name_, Predicate::Operator::notEqualTo, std::move(value));
}
Predicate Key::operator<(Value value) const {
    return Predicate::comparison(name_, Predicate::Operator::lessThan, std::move(value));
}
Predicate Key::operator<=(Value value) const {
    return Predicate::comparison(name_, Predicate::Operator::lessThanOrEqualTo, std::move(value));
}
Predicate Key::operator>(Value value) const {
    return Predicate::comparison(name_, Predicate::Operator::greaterThan, std::move(value));
}
Predicate Key::operator>=(Value value) const {
    return Predicate::comparison(name_, Predicate::Operator::greaterThanOrEqualTo,
                                 std::move(value));
}
Predicate Key::operator==(const std::shared_ptr<ManagedObject>& object) const {
    return Predicate::relationship(name_, Predicate::Operator::equalTo,
                                   object ? std::optional(object->objectID()) : std::nullopt);
}
Predicate Key::operator!=(const std::shared_ptr<ManagedObject>& object) const {
    return Predicate::relationship(name_, Predicate::Operator::notEqualTo,
                                   object ? std::optional(object->objectID()) : std::nullopt);
}
Predicate Key::operator==(const ManagedObjectID& objectID) const {
    return Predicate::relationship(name_, Predicate::Operator::equalTo, objectID);
}
Predicate Key::operator!=(const ManagedObjectID& objectID) const {
    return Predicate::relationship(name_, Predicate::Operator::notEqualTo, objectID);
}
Predicate Key::isNil() const {
    return Predicate::relationship(name_, Predicate::Operator::equalTo, std::nullopt);
}

}  // namespace dovrel::store

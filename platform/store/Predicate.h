#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/store/ManagedObjectID.h"
#include "platform/store/Value.h"

namespace dovrel::store {

class EntityDescription;
class ManagedObject;

// A condition on the objects of one entity: comparisons of attributes with constants, of to-one
// relationships with an object (or none), joined by AND, OR and NOT. A predicate both evaluates
// in memory (on objects with unsaved changes) and compiles to an SQL condition for the store;
// both give the same answer.
//
// Comparison rules: "==" and "!=" treat null as a value (name == nil holds for a missing name,
// name != "x" holds for it too); the ordering operators are false when either side is null.
// Numbers, booleans and dates compare numerically, strings by their UTF-8 bytes. Transformable
// attributes cannot be compared; naming one, or a key the entity does not have, is a programming
// error that stops the process when the predicate is used.
class Predicate {
  public:
    enum class Operator {
        equalTo,
        notEqualTo,
        lessThan,
        lessThanOrEqualTo,
        greaterThan,
        greaterThanOrEqualTo,
    };

    // TRUEPREDICATE or FALSEPREDICATE.
    static Predicate value(bool value);
    // <key> <op> <value>, for an attribute.
    static Predicate comparison(std::string key, Operator op, Value value);
    // <key> == / != <object ID or nil>, for a to-one relationship (only equalTo and notEqualTo).
    static Predicate relationship(std::string key, Operator op,
                                  std::optional<ManagedObjectID> destination);
    static Predicate andPredicate(std::vector<Predicate> subpredicates);
    static Predicate orPredicate(std::vector<Predicate> subpredicates);
    static Predicate notPredicate(Predicate subpredicate);

    friend Predicate operator&&(Predicate lhs, Predicate rhs) {
        return andPredicate({std::move(lhs), std::move(rhs)});
    }
    friend Predicate operator||(Predicate lhs, Predicate rhs) {
        return orPredicate({std::move(lhs), std::move(rhs)});
    }
    friend Predicate operator!(Predicate predicate) { return notPredicate(std::move(predicate)); }

    // Whether `object` satisfies the predicate (reads its current, possibly unsaved, values).
    bool evaluate(const ManagedObject& object) const;

    // The predicate as an SQL condition on the table of `entity` in the store `store`, with `?`
    // placeholders whose values are appended to `bindings`. A relationship comparison with an
    // object of another store or with an unsaved object matches no row.
    std::string sql(const EntityDescription& entity, const StoreUUID& store,
                    std::vector<Value>& bindings) const;

    // A readable form such as: age > 30 AND name == "Ann".
    std::string predicateFormat() const;

    struct Node;

  private:
    explicit Predicate(std::shared_ptr<const Node> node) : node_(std::move(node)) {}
    std::shared_ptr<const Node> node_;
};

// Builds comparisons with operators: Key("age") > 30, Key("name") == "Ann",
// Key("owner") == someObject.
class Key {
  public:
    explicit Key(std::string name) : name_(std::move(name)) {}

    Predicate operator==(Value value) const;
    Predicate operator!=(Value value) const;
    Predicate operator<(Value value) const;
    Predicate operator<=(Value value) const;
    Predicate operator>(Value value) const;
    Predicate operator>=(Value value) const;
    Predicate operator==(const std::shared_ptr<ManagedObject>& object) const;
    Predicate operator!=(const std::shared_ptr<ManagedObject>& object) const;
    Predicate operator==(const ManagedObjectID& objectID) const;
    Predicate operator!=(const ManagedObjectID& objectID) const;
    // The relationship holds no object.
    Predicate isNil() const;

  private:
    std::string name_;
};

}  // namespace dovrel::store

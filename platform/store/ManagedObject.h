#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "platform/store/EntityDescription.h"
#include "platform/store/ManagedObjectID.h"
#include "platform/store/MemberList.h"
#include "platform/store/Value.h"

namespace dovrel::store {

class ManagedObject;
class ManagedObjectContext;
class PersistentStore;

// The objects of a change notification, and the members of a to-many relationship read by key.
using ObjectSet = std::unordered_set<std::shared_ptr<ManagedObject>>;

// One object of the graph: an instance of an entity, registered in one context. Subclasses add
// typed accessors built on value() and setValue() (see EntityDescription::setManagedObjectClass).
//
// Objects are made by a context (ManagedObjectContext::insertNewObject, fetches, lookups by ID)
// and held by std::shared_ptr. Within one context one stored row is one object (the identity
// map); the same row in another context is another object.
//
// An object is confined to its context's queue: in debug builds (DOVREL_DEBUG) every accessor
// stops the process when called off that queue. A fetched object may be a fault, whose values
// are read from the store on first access; a to-many relationship loads its members (as faults)
// only when it is first read, so reading an attribute never loads related objects.
//
// After its context is reset, or its deletion or rolled-back insertion is processed, an object
// has no context; it keeps the values it had, but it can no longer load or change anything.
class ManagedObject : public std::enable_shared_from_this<ManagedObject> {
  public:
    // Instances come from EntityDescription::makeObject(); a context finishes them.
    ManagedObject() = default;
    ManagedObject(const ManagedObject&) = delete;
    ManagedObject& operator=(const ManagedObject&) = delete;
    virtual ~ManagedObject() = default;

    const EntityDescription& entity() const;
    // The permanent ID once the object has been saved, a temporary one before.
    const ManagedObjectID& objectID() const;
    // The owning context, or null.
    ManagedObjectContext* managedObjectContext() const noexcept { return context_; }

    // The value of an attribute or relationship, for code that works by key (merges,
    // predicates, migration policies):
    //  - an attribute gives its value;
    //  - a to-one relationship gives its destination as an object Value holding a
    //    std::shared_ptr<ManagedObject> (value.objectAs<std::shared_ptr<ManagedObject>>()), or the
    //    null Value when it is empty;
    //  - a to-many relationship gives its members as an object Value holding an ObjectSet
    //    (value.objectAs<ObjectSet>()), empty or not.
    // Following a relationship needs the object's context. An unknown key stops the process.
    Value value(std::string_view key) const;
    // The value of the attribute `key` as the object holds it, without a copy (a fault is
    // fulfilled first): for accessors that read one field of it. The reference stays valid until
    // the attribute is set or the object is refreshed or turned into a fault. A key that is not
    // an attribute (a relationship, or nothing) stops the process.
    const Value& attributeValue(std::string_view key) const;
    // Changes an attribute, or a relationship given the way value() gives it (a null Value or a
    // std::shared_ptr<ManagedObject> for a to-one key, an ObjectSet for a to-many key, whose
    // members then become exactly the set). A value of the wrong type (an integer for a double
    // attribute is accepted and converted) or an unknown key stops the process.
    void setValue(Value value, std::string_view key);

    // The destination of a to-one relationship, or null.
    std::shared_ptr<ManagedObject> object(std::string_view key) const;
    std::optional<ManagedObjectID> objectIDForRelationship(std::string_view key) const;
    // Sets a to-one relationship (null clears it) and keeps its inverse in step.
    void setObject(const std::shared_ptr<ManagedObject>& destination, std::string_view key);
    // The members of a to-many relationship in no particular order (loaded on first access).
    std::vector<std::shared_ptr<ManagedObject>> objects(std::string_view key) const;
    // Adds a member to, or removes one from, a to-many relationship (and sets the inverse).
    void addObject(const std::shared_ptr<ManagedObject>& member, std::string_view toKey);
    void removeObject(const std::shared_ptr<ManagedObject>& member, std::string_view fromKey);
    // Whether the to-many relationship `key` has not been loaded yet.
    bool hasFaultForRelationship(std::string_view key) const;

    bool isInserted() const;
    bool isUpdated() const;
    bool isDeleted() const;
    // Whether the attribute values have not been read from the store yet.
    bool isFault() const noexcept { return fault_; }
    bool hasChanges() const;
    // The attributes changed since the last save or fetch, with their new values.
    std::map<std::string, Value> changedValues() const;
    // The attribute values as last saved or read (the current ones when unchanged).
    std::map<std::string, Value> committedValues() const;

  private:
    friend class ManagedObjectContext;
    struct Snapshot {
        std::vector<Value> values;
        std::vector<std::optional<ManagedObjectID>> toOne;
    };

    void checkQueue() const;
    void fulfill() const;
    const RelationshipDescription& relationshipNamed(std::string_view key, bool toMany) const;
    void setRelationshipValue(const Value& value, const RelationshipDescription& relationship);

    const EntityDescription* entity_ = nullptr;
    ManagedObjectContext* context_ = nullptr;
    ManagedObjectID id_;
    // The permanent ID a save in progress gives an inserted object.
    ManagedObjectID stagedID_;
    PersistentStore* assignedStore_ = nullptr;
    bool fault_ = false;
    bool inserted_ = false;
    bool updated_ = false;
    bool deleted_ = false;
    bool versionKnown_ = false;
    // Changes not yet announced by an objects-did-change notification (context bits).
    std::uint8_t pending_ = 0;
    std::int64_t version_ = 0;
    std::vector<Value> values_;
    std::vector<std::optional<ManagedObjectID>> toOne_;
    // Per to-many slot: the member IDs, or nothing while not loaded.
    std::vector<std::optional<MemberList>> toMany_;
    // The committed state, kept from the first change until the next save or rollback.
    std::unique_ptr<Snapshot> committed_;
    std::vector<bool> changedAttributes_;
    std::vector<bool> changedToOne_;
};

// The object IDs of a did-save notification.
using ObjectIDSet = std::unordered_set<ManagedObjectID>;

}  // namespace dovrel::store

#pragma once

#include <memory>

namespace dovrel::store {

class ManagedObject;
class MigrationManager;
struct EntityMapping;

// Migrates the instances of one entity mapping. Subclass it to change how destination instances
// are made (attach it to the mapping with EntityMapping::setPolicy<T>()).
//
// For every mapping of the mapping model the manager calls, in this order:
//   beginEntityMapping once;
//   createDestinationInstances once per source instance (in primary-key order);
// and then, after every mapping has made its instances:
//   createRelationships once per destination instance the mapping made;
//   endEntityMapping once.
//
// Source instances are objects of a read-only context over the old store: read them by key
// (ManagedObject::value), including relationships (a to-one key gives the related object, a
// to-many key an ObjectSet; see ManagedObject::value). Destination instances are objects of the
// context over the new store: write them by key (ManagedObject::setValue) or through the
// relationship setters.
//
// Anything a policy throws ends the migration: nothing is written in place of the old store,
// and the error reaches whoever opened it (a dovrel::Error keeps its description, wrapped as
// StoreError::kEntityMigrationPolicyError).
class EntityMigrationPolicy {
  public:
    EntityMigrationPolicy() = default;
    EntityMigrationPolicy(const EntityMigrationPolicy&) = delete;
    EntityMigrationPolicy& operator=(const EntityMigrationPolicy&) = delete;
    virtual ~EntityMigrationPolicy() = default;

    virtual void beginEntityMapping(const EntityMapping& mapping, MigrationManager& manager);

    // Makes the destination instances for `source`. The base implementation inserts one
    // instance of the mapping's destination entity, fills its attributes from `source` (by name,
    // or as the mapping's attribute mappings say), and associates it with `source` through
    // manager.associate. An override may make any number of instances (or none) and must
    // associate each one it wants found by destinationInstances or re-linked later.
    virtual void createDestinationInstances(const std::shared_ptr<ManagedObject>& source,
                                            const EntityMapping& mapping,
                                            MigrationManager& manager);

    // Sets the relationships of `destination`, one of the instances this mapping associated.
    // The base implementation points every to-one relationship at the destination instance
    // made from the source's destination of the same relationship (or of the one the mapping's
    // relationship mappings name); a related source instance that made no destination instance
    // leaves the relationship empty.
    virtual void createRelationships(const std::shared_ptr<ManagedObject>& destination,
                                     const EntityMapping& mapping, MigrationManager& manager);

    virtual void endEntityMapping(const EntityMapping& mapping, MigrationManager& manager);
};

}  // namespace dovrel::store

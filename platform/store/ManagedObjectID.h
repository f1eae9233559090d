#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

namespace dovrel::store {

class EntityDescription;

// A store's identifier: 16 random bytes, written as an upper-case UUID
// ("8-4-4-4-12" hexadecimal digits).
using StoreUUID = std::array<std::uint8_t, 16>;

std::string uuidString(const StoreUUID& uuid);
// Parses the UUID text form (either case); false when `text` is not one.
bool parseUUID(const std::string& text, StoreUUID& uuid);
StoreUUID makeRandomUUID();

// Names one object for as long as it exists, in every context of a coordinator: its entity,
// the store that holds it and its primary key in that store. An object inserted into a context
// has a temporary ID until its first save assigns the permanent one; the object then reports
// the permanent ID, and the temporary ID stops naming anything.
//
// The URI representation of a permanent ID is x-dovrel://<store UUID>/<Entity>/p<primary key>;
// a temporary ID's is x-dovrel:///<Entity>/t<number>. A coordinator turns the permanent form back
// into an ID (see PersistentStoreCoordinator::managedObjectID).
//
// A small value type (copy freely). It refers to its entity description, which lives as long as
// the model does.
class ManagedObjectID {
  public:
    ManagedObjectID() = default;
    static ManagedObjectID permanent(const EntityDescription& entity, const StoreUUID& store,
                                     std::int64_t primaryKey);
    static ManagedObjectID temporary(const EntityDescription& entity);

    const EntityDescription& entity() const noexcept { return *entity_; }
    bool isTemporaryID() const noexcept { return temporary_; }
    // The store's UUID (all zero for a temporary ID).
    const StoreUUID& storeUUID() const noexcept { return store_; }
    // The row's primary key (for a temporary ID: its number, unique in the process).
    std::int64_t primaryKey() const noexcept { return key_; }

    std::string uriRepresentation() const;

    // The key first: it tells two IDs of one store apart at once (the identity map compares
    // IDs of mostly one store and entity).
    friend bool operator==(const ManagedObjectID& lhs, const ManagedObjectID& rhs) noexcept {
        return lhs.key_ == rhs.key_ && lhs.entity_ == rhs.entity_ &&
               lhs.temporary_ == rhs.temporary_ && lhs.store_ == rhs.store_;
    }
    // Permanent IDs order by store, entity name and primary key; temporary IDs follow them in the
    // order they were made.
    friend bool operator<(const ManagedObjectID& lhs, const ManagedObjectID& rhs);

  private:
    const EntityDescription* entity_ = nullptr;
    StoreUUID store_{};
    std::int64_t key_ = 0;
    bool temporary_ = false;
};

}  // namespace dovrel::store

template <>
struct std::hash<dovrel::store::ManagedObjectID> {
    std::size_t operator()(const dovrel::store::ManagedObjectID& id) const noexcept {
        // splitmix64 finaliser over the key, the entity and the store, so that sequential keys
        // spread over the buckets.
        auto mix = [](std::uint64_t x) {
            x += 0x9e3779b97f4a7c15ULL;
            x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9ULL;
            x = (x ^ (x >> 27)) * 0x94d049bb133111ebULL;
            return x ^ (x >> 31);
        };
        std::uint64_t store = 0;
        for (std::size_t i = 0; i < 8; ++i) {
            store = store << 8 | id.storeUUID()[i];
        }
        std::uint64_t h = mix(static_cast<std::uint64_t>(id.primaryKey()) ^
                              (id.isTemporaryID() ? 0x8000000000000000ULL : 0));
        h = mix(h ^ reinterpret_cast<std::uintptr_t>(&id.entity()) ^ store);
        return static_cast<std::size_t>(h);
    }
};

#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>
#include <vector>

namespace dovrel::store {

// An open-addressing hash map (linear probing, backward-shift deletion) whose entries live in one
// array: no allocation per entry, lookups touch one or two cache lines. Used by the contexts for
// their identity maps, which hold hundreds of thousands of entries after large fetches and
// saves: node-based maps spent most of a save allocating, hashing into and freeing nodes.
//
// `Stale` says whether an entry may be dropped when the table grows (a registration whose object
// is gone): the table then grows with the live entries only, so a long-lived context that reads
// many objects over time does not keep an entry for every one of them. Dropped entries are gone
// as if erased; lookups never see a difference other than the entry's absence.
//
// Not thread-safe; references and pointers to values stay valid until the next insertion, erasure
// or clear. Iteration order is unspecified.
template <class Key, class Value, class Hash = std::hash<Key>, class Stale = void>
class FlatHashMap {
  public:
    struct Entry {
        Key key;
        Value value;
    };

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }

    // The value of `key`, or null.
    Value* find(const Key& key) noexcept {
        if (size_ == 0) {
            return nullptr;
        }
        for (std::size_t index = slotOf(key);; index = (index + 1) & mask()) {
            Slot& slot = slots_[index];
            if (!slot.used) {
                return nullptr;
            }
            if (slot.entry.key == key) {
                return &slot.entry.value;
            }
        }
    }
    const Value* find(const Key& key) const noexcept {
        return const_cast<FlatHashMap*>(this)->find(key);
    }

    // The value of `key`, inserted default-constructed when absent.
    Value& operator[](const Key& key) {
        if (Value* found = find(key)) {
            return *found;
        }
        return insertNew(key, Value());
    }

    // Inserts or replaces the value of `key`.
    void insertOrAssign(const Key& key, Value value) {
        if (Value* found = find(key)) {
            *found = std::move(value);
            return;
        }
        insertNew(key, std::move(value));
    }

    // Removes `key`; false when it was absent.
    bool erase(const Key& key) noexcept {
        if (size_ == 0) {
            return false;
        }
        std::size_t index = slotOf(key);
        for (;; index = (index + 1) & mask()) {
            if (!slots_[index].used) {
                return false;
            }
            if (slots_[index].entry.key == key) {
                break;
            }
        }
        // Backward shift: later entries of the same probe run move up, so no probe run is cut.
        std::size_t hole = index;
        for (std::size_t next = (hole + 1) & mask(); slots_[next].used;
             next = (next + 1) & mask()) {
            const std::size_t home = slotOf(slots_[next].entry.key);
            // The entry at `next` may fill the hole when its home is not inside (hole, next].
            const bool between =
                hole <= next ? (home > hole && home <= next) : (home > hole || home <= next);
            if (!between) {
                slots_[hole].entry = std::move(slots_[next].entry);
                hole = next;
            }
        }
        slots_[hole].used = false;
        slots_[hole].entry = Entry{};
        --size_;
        return true;
    }

    // Makes room for `count` entries in all without growing again.
    void reserve(std::size_t count) {
        if (count > capacityFor(slots_.size())) {
            rehash(tableSizeFor(count));
        }
    }

    void clear() noexcept {
        slots_.clear();
        slots_.shrink_to_fit();
        size_ = 0;
    }

    // Calls `visit(key, value)` for every entry.
    template <class Visitor>
    void forEach(Visitor&& visit) {
        for (Slot& slot : slots_) {
            if (slot.used) {
                visit(static_cast<const Key&>(slot.entry.key), slot.entry.value);
            }
        }
    }
    template <class Visitor>
    void forEach(Visitor&& visit) const {
        for (const Slot& slot : slots_) {
            if (slot.used) {
                visit(slot.entry.key, slot.entry.value);
            }
        }
    }

  private:
    struct Slot {
        Entry entry{};
        bool used = false;
    };

    // At most 3/4 of the slots are used.
    static std::size_t capacityFor(std::size_t tableSize) noexcept { return tableSize / 4 * 3; }
    static std::size_t tableSizeFor(std::size_t count) noexcept {
        return std::bit_ceil(std::max<std::size_t>(16, count + count / 3 + 1));
    }

    std::size_t mask() const noexcept { return slots_.size() - 1; }
    std::size_t slotOf(const Key& key) const noexcept { return Hash{}(key)&mask(); }

    Value& insertNew(const Key& key, Value value) {
        if (size_ + 1 > capacityFor(slots_.size())) {
            grow();
        }
        std::size_t index = slotOf(key);
        while (slots_[index].used) {
            index = (index + 1) & mask();
        }
        slots_[index].used = true;
        slots_[index].entry.key = key;
        slots_[index].entry.value = std::move(value);
        ++size_;
        return slots_[index].entry.value;
    }

    void grow() {
        std::size_t live = size_;
        if constexpr (!std::is_void_v<Stale>) {
            live = 0;
            for (const Slot& slot : slots_) {
                live += slot.used && !Stale{}(slot.entry.value) ? 1 : 0;
            }
        }
        // Twice the live entries: after a rehash at least half of the usable slots are free
        // again, so rehashes stay amortised O(1) per insertion.
        rehash(tableSizeFor(2 * live + 1));
    }

    void rehash(std::size_t tableSize) {
        std::vector<Slot> old(tableSize);
        old.swap(slots_);
        size_ = 0;
        for (Slot& slot : old) {
            if (!slot.used) {
                continue;
            }
            if constexpr (!std::is_void_v<Stale>) {
                if (Stale{}(slot.entry.value)) {
                    continue;
                }
            }
            std::size_t index = slotOf(slot.entry.key);
            while (slots_[index].used) {
                index = (index + 1) & mask();
            }
            slots_[index].used = true;
            slots_[index].entry = std::move(slot.entry);
            ++size_;
        }
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
};

}  // namespace dovrel::store

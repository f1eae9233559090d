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
// Which slots are used is kept apart from the entries, in one byte per slot: a probe for a free
// slot (every insertion) reads that small array, usually from the cache, and only writes the
// entry, so that filling a large map does not wait for a cache miss per entry.
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
            if (!used_[index]) {
                return nullptr;
            }
            if (entries_[index].key == key) {
                return &entries_[index].value;
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
            if (!used_[index]) {
                return false;
            }
            if (entries_[index].key == key) {
                break;
            }
        }
        // Backward shift: later entries of the same probe run move up, so no probe run is cut.
        std::size_t hole = index;
        for (std::size_t next = (hole + 1) & mask(); used_[next]; next = (next + 1) & mask()) {
            const std::size_t home = slotOf(entries_[next].key);
            // The entry at `next` may fill the hole when its home is not inside (hole, next].
            const bool between =
                hole <= next ? (home > hole && home <= next) : (home > hole || home <= next);
            if (!between) {
                entries_[hole] = std::move(entries_[next]);
                hole = next;
            }
        }
        used_[hole] = 0;
        entries_[hole] = Entry{};
        --size_;
        return true;
    }

    // Makes room for `count` entries in all without growing again.
    void reserve(std::size_t count) {
        if (count > capacityFor(used_.size())) {
            rehash(tableSizeFor(count));
        }
    }

    void clear() noexcept {
        used_.clear();
        used_.shrink_to_fit();
        entries_.clear();
        entries_.shrink_to_fit();
        size_ = 0;
    }

    // Calls `visit(key, value)` for every entry.
    template <class Visitor>
    void forEach(Visitor&& visit) {
        for (std::size_t index = 0; index < used_.size(); ++index) {
            if (used_[index]) {
                visit(static_cast<const Key&>(entries_[index].key), entries_[index].value);
            }
        }
    }
    template <class Visitor>
    void forEach(Visitor&& visit) const {
        for (std::size_t index = 0; index < used_.size(); ++index) {
            if (used_[index]) {
                visit(entries_[index].key, entries_[index].value);
            }
        }
    }

  private:
    // At most 3/4 of the slots are used.
    static std::size_t capacityFor(std::size_t tableSize) noexcept { return tableSize / 4 * 3; }
    static std::size_t tableSizeFor(std::size_t count) noexcept {
        return std::bit_ceil(std::max<std::size_t>(16, count + count / 3 + 1));
    }

    std::size_t mask() const noexcept { return used_.size() - 1; }
    std::size_t slotOf(const Key& key) const noexcept { return Hash{}(key)&mask(); }

    Value& insertNew(const Key& key, Value value) {
        if (size_ + 1 > capacityFor(used_.size())) {
            grow();
        }
        std::size_t index = slotOf(key);
        while (used_[index]) {
            index = (index + 1) & mask();
        }
        used_[index] = 1;
        entries_[index].key = key;
        entries_[index].value = std::move(value);
        ++size_;
        return entries_[index].value;
    }

    void grow() {
        std::size_t live = size_;
        if constexpr (!std::is_void_v<Stale>) {
            live = 0;
            for (std::size_t index = 0; index < used_.size(); ++index) {
                live += used_[index] && !Stale{}(entries_[index].value) ? 1 : 0;
            }
        }
        // Twice the live entries: after a rehash at least half of the usable slots are free
        // again, so rehashes stay amortised O(1) per insertion.
        rehash(tableSizeFor(2 * live + 1));
    }

    void rehash(std::size_t tableSize) {
        std::vector<std::uint8_t> oldUsed(tableSize, 0);
        std::vector<Entry> oldEntries(tableSize);
        oldUsed.swap(used_);
        oldEntries.swap(entries_);
        size_ = 0;
        for (std::size_t slot = 0; slot < oldUsed.size(); ++slot) {
            if (!oldUsed[slot]) {
                continue;
            }
            if constexpr (!std::is_void_v<Stale>) {
                if (Stale{}(oldEntries[slot].value)) {
                    continue;
                }
            }
            std::size_t index = slotOf(oldEntries[slot].key);
            while (used_[index]) {
                index = (index + 1) & mask();
            }
            used_[index] = 1;
            entries_[index] = std::move(oldEntries[slot]);
            ++size_;
        }
    }

    std::vector<std::uint8_t> used_;
    std::vector<Entry> entries_;
    std::size_t size_ = 0;
};

}  // namespace dovrel::store

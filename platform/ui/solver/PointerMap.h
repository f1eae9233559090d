#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace dovrel::ui::solver {

// A hash map from object addresses to small values, for the lookups a layout makes thousands of
// times (the solver's constraints by identity, a widget's attachment, a participant's index).
//
// Open addressing with linear probing in a table of a power of two slots, at most half full;
// an address is spread by a multiplicative hash. A lookup costs a multiply, a shift and usually
// one probe, where std::unordered_map divides by a prime and follows a node pointer.
//
// Keys: any non-null address. Values: default-constructible and movable. Inserting may move
// every value, so a pointer returned by find() or a reference from operator[] is valid only
// until the next insertion or erasure. Not thread-safe.
template <typename Value>
class PointerMap {
  public:
    PointerMap() { rehash(kMinimumCapacity); }

    std::size_t size() const { return size_; }
    bool empty() const { return size_ == 0; }

    // The value of `key`, or null.
    Value* find(const void* key) {
        const std::size_t slot = slotOf(key);
        return slots_[slot].key == key ? &slots_[slot].value : nullptr;
    }
    const Value* find(const void* key) const {
        const std::size_t slot = slotOf(key);
        return slots_[slot].key == key ? &slots_[slot].value : nullptr;
    }
    bool contains(const void* key) const { return find(key) != nullptr; }

    // The value of `key`, inserted as Value() when missing.
    Value& operator[](const void* key) {
        std::size_t slot = slotOf(key);
        if (slots_[slot].key == key) {
            return slots_[slot].value;
        }
        if (2 * (size_ + 1) > slots_.size()) {
            rehash(2 * slots_.size());
            slot = slotOf(key);
        }
        slots_[slot].key = key;
        ++size_;
        return slots_[slot].value;
    }

    // Removes `key`; returns whether it was there.
    bool erase(const void* key) {
        std::size_t hole = slotOf(key);
        if (slots_[hole].key != key) {
            return false;
        }
        // Backward shift: every entry after the hole whose probe passed through it moves up, so
        // that lookups never need tombstones.
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t next = (hole + 1) & mask; slots_[next].key != nullptr;
             next = (next + 1) & mask) {
            const std::size_t home = homeOf(slots_[next].key);
            // Whether `home` lies cyclically outside (hole, next]: then the entry may fill the
            // hole.
            const bool movable =
                hole <= next ? (home <= hole || home > next) : (home <= hole && home > next);
            if (movable) {
                slots_[hole] = std::move(slots_[next]);
                hole = next;
            }
        }
        slots_[hole] = Slot();
        --size_;
        return true;
    }

    void clear() {
        for (Slot& slot : slots_) {
            slot = Slot();
        }
        size_ = 0;
    }

    // Makes room for `count` entries without growing.
    void reserve(std::size_t count) {
        std::size_t capacity = slots_.size();
        while (capacity < 2 * count) {
            capacity *= 2;
        }
        if (capacity != slots_.size()) {
            rehash(capacity);
        }
    }

    // Calls `visit(key, value)` for every entry, in no particular order.
    template <typename Visit>
    void forEach(Visit&& visit) const {
        for (const Slot& slot : slots_) {
            if (slot.key != nullptr) {
                visit(slot.key, slot.value);
            }
        }
    }

  private:
    static constexpr std::size_t kMinimumCapacity = 16;

    struct Slot {
        const void* key = nullptr;
        Value value{};
    };

    std::size_t homeOf(const void* key) const {
        // Fibonacci hashing: the top bits of the product are the best mixed.
        const auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(key));
        return static_cast<std::size_t>((bits * 0x9E3779B97F4A7C15ull) >> shift_);
    }

    // The slot that holds `key`, or the empty slot where it would go.
    std::size_t slotOf(const void* key) const {
        const std::size_t mask = slots_.size() - 1;
        std::size_t slot = homeOf(key);
        while (slots_[slot].key != nullptr && slots_[slot].key != key) {
            slot = (slot + 1) & mask;
        }
        return slot;
    }

    void rehash(std::size_t capacity) {
        std::vector<Slot> old = std::move(slots_);
        slots_.assign(capacity, Slot());
        shift_ = 64;
        for (std::size_t size = capacity; size > 1; size /= 2) {
            --shift_;
        }
        for (Slot& slot : old) {
            if (slot.key != nullptr) {
                slots_[slotOf(slot.key)] = std::move(slot);
            }
        }
    }

    std::vector<Slot> slots_;
    std::size_t size_ = 0;
    unsigned shift_ = 64;
};

}  // namespace dovrel::ui::solver

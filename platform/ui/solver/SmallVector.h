#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

namespace dovrel::ui::solver {

// A vector of trivially copyable values that keeps its first `InlineCapacity` values inside
// itself and allocates only past them. The solver's rows and column lists are short (a row of a
// layout constraint holds two to four cells) and there are thousands of them: held inline, a
// first layout makes a fraction of the allocations.
//
// Iterators are plain pointers; like std::vector's, they are invalidated by any call that may
// grow the vector, and by a move (which may copy the inline values). Not thread-safe.
template <typename T, std::size_t InlineCapacity>
class SmallVector {
    static_assert(std::is_trivially_copyable_v<T>, "values are moved with memcpy");
    static_assert(InlineCapacity > 0);

  public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    SmallVector() = default;
    SmallVector(const SmallVector& other) { assign(other.begin(), other.end()); }
    SmallVector(SmallVector&& other) noexcept { takeFrom(other); }
    SmallVector& operator=(const SmallVector& other) {
        if (this != &other)
            assign(other.begin(), other.end());
        return *this;
    }
    SmallVector& operator=(SmallVector&& other) noexcept {
        if (this != &other) {
            release();
            takeFrom(other);
        }
        return *this;
    }
    ~SmallVector() { release(); }

    T* begin() { return data_; }
    T* end() { return data_ + size_; }
    const T* begin() const { return data_; }
    const T* end() const { return data_ + size_; }
    T& operator[](std::size_t index) { return data_[index]; }
    const T& operator[](std::size_t index) const { return data_[index]; }
    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }
    bool isInline() const { return data_ == inlineData(); }

    void clear() { size_ = 0; }
    void reserve(std::size_t capacity) {
        if (capacity > capacity_)
            grow(capacity);
    }
    // Shrinks to `size` values, or grows with value-initialised ones.
    void resize(std::size_t size) {
        reserve(size);
        if (size > size_)
            std::fill(data_ + size_, data_ + size, T{});
        size_ = static_cast<std::uint32_t>(size);
    }

    void push_back(const T& value) {
        const T copy = value;  // `value` may live in this vector's storage
        if (size_ == capacity_)
            grow(std::size_t{capacity_} * 2);
        data_[size_++] = copy;
    }

    // Inserts before `position`; returns the inserted value's place.
    T* insert(const T* position, const T& value) {
        const auto index = static_cast<std::size_t>(position - data_);
        const T copy = value;
        if (size_ == capacity_)
            grow(std::size_t{capacity_} * 2);
        std::memmove(data_ + index + 1, data_ + index, (size_ - index) * sizeof(T));
        data_[index] = copy;
        ++size_;
        return data_ + index;
    }

    // Removes the value at `position`; returns the place of the one that followed it.
    T* erase(const T* position) {
        const auto index = static_cast<std::size_t>(position - data_);
        std::memmove(data_ + index, data_ + index + 1, (size_ - index - 1) * sizeof(T));
        --size_;
        return data_ + index;
    }

    // Appends [first, last), which must not lie in this vector.
    void append(const T* first, const T* last) {
        const auto count = static_cast<std::size_t>(last - first);
        reserve(size_ + count);
        if (count != 0)
            std::memcpy(data_ + size_, first, count * sizeof(T));
        size_ += static_cast<std::uint32_t>(count);
    }

    // Replaces the contents with [first, last), which must not lie in this vector.
    void assign(const T* first, const T* last) {
        size_ = 0;
        append(first, last);
    }

  private:
    T* inlineData() { return reinterpret_cast<T*>(storage_); }
    const T* inlineData() const { return reinterpret_cast<const T*>(storage_); }

    void grow(std::size_t atLeast) {
        const std::size_t capacity = std::max(atLeast, std::size_t{capacity_} * 2);
        T* fresh = static_cast<T*>(::operator new(capacity * sizeof(T)));
        std::memcpy(fresh, data_, size_ * sizeof(T));
        release();
        data_ = fresh;
        capacity_ = static_cast<std::uint32_t>(capacity);
    }

    void release() {
        if (!isInline())
            ::operator delete(data_);
    }

    // Takes `other`'s values (its allocation when it has one) and leaves it empty and inline.
    void takeFrom(SmallVector& other) {
        if (other.isInline()) {
            std::memcpy(storage_, other.storage_, other.size_ * sizeof(T));
            data_ = inlineData();
            capacity_ = InlineCapacity;
        } else {
            data_ = other.data_;
            capacity_ = other.capacity_;
        }
        size_ = other.size_;
        other.data_ = other.inlineData();
        other.size_ = 0;
        other.capacity_ = InlineCapacity;
    }

    alignas(T) unsigned char storage_[InlineCapacity * sizeof(T)];
    T* data_ = inlineData();
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = InlineCapacity;
};

}  // namespace dovrel::ui::solver

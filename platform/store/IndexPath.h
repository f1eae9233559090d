#pragma once

#include <compare>
#include <cstddef>
#include <string>

namespace dovrel::store {

// The position of an object in sectioned results: a section and an item (row) within it.
struct IndexPath {
    std::size_t section = 0;
    std::size_t item = 0;

    std::size_t row() const noexcept { return item; }
    // "[section, item]".
    std::string description() const {
        std::string text(1, '[');
        text += std::to_string(section);
        text += ", ";
        text += std::to_string(item);
        text += ']';
        return text;
    }

    friend bool operator==(const IndexPath&, const IndexPath&) = default;
    friend auto operator<=>(const IndexPath&, const IndexPath&) = default;
};

}  // namespace dovrel::store

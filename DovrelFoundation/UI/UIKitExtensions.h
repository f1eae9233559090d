#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "platform/ui/StackView.h"

namespace dovrel {

// Edge insets; a side left out is zero.
struct EdgeInsets {
    double top = 0;
    double left = 0;
    double bottom = 0;
    double right = 0;

    static EdgeInsets make(std::optional<double> top = std::nullopt,
                           std::optional<double> left = std::nullopt,
                           std::optional<double> bottom = std::nullopt,
                           std::optional<double> right = std::nullopt) {
        return EdgeInsets{top.value_or(0), left.value_or(0), bottom.value_or(0), right.value_or(0)};
    }
    friend bool operator==(const EdgeInsets&, const EdgeInsets&) = default;
};

// Adds each view as an arranged subview of the stack, in argument order.
template <typename... Views>
void addArrangedSubviews(ui::StackView* stack, Views*... views) {
    (stack->addArrangedSubview(views), ...);
}

// A class's own name, for registering and dequeuing cells and for finding nibs: every view
// controller or cell class that is registered or loaded from a nib declares
//     static constexpr const char* kClassName = "HabitCell";
template <typename Class>
std::string className() {
    return Class::kClassName;
}

// The identifier a cell class is registered and dequeued with: the class's own name.
template <typename Cell>
std::string reuseIdentifier() {
    return className<Cell>();
}

// The nib a cell class is loaded from: the class's own name.
template <typename Cell>
std::string nibName() {
    return className<Cell>();
}

}  // namespace dovrel

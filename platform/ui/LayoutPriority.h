#pragma once

namespace dovrel::ui {

// How much a constraint matters, from 1 to 1000. 1000 is required: the layout satisfies it
// exactly. Below 1000 a constraint is a preference that the layout satisfies as well as it can,
// higher priorities first.
using LayoutPriority = double;

inline constexpr LayoutPriority kLayoutPriorityRequired = 1000;
inline constexpr LayoutPriority kLayoutPriorityDefaultHigh = 750;
inline constexpr LayoutPriority kLayoutPriorityDefaultLow = 250;
inline constexpr LayoutPriority kLayoutPriorityFittingSizeLevel = 50;

// The two directions a view can be sized in.
enum class LayoutAxis { horizontal = 0, vertical = 1 };

}  // namespace dovrel::ui

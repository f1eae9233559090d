#pragma once

#include <vector>

#include "platform/ui/LayoutConstraint.h"

namespace dovrel {

// Chaining helpers over layout constraints and lists of them.

// Sets the priority and returns the same constraint.
ui::LayoutConstraint withPriority(ui::LayoutConstraint constraint, ui::LayoutPriority priority);

void activate(ui::LayoutConstraint constraint);
void deactivate(ui::LayoutConstraint constraint);
ui::LayoutConstraint activated(ui::LayoutConstraint constraint);
ui::LayoutConstraint deactivated(ui::LayoutConstraint constraint);

// The list forms hand the whole list to the batch activation or deactivation.
void activate(const std::vector<ui::LayoutConstraint>& constraints);
void deactivate(const std::vector<ui::LayoutConstraint>& constraints);
std::vector<ui::LayoutConstraint> activated(std::vector<ui::LayoutConstraint> constraints);
std::vector<ui::LayoutConstraint> deactivated(std::vector<ui::LayoutConstraint> constraints);

// A constraint's constant given in device pixels: reading always gives false; setting true
// divides the current constant by the main screen's scale (points from pixels); setting false
// does nothing. Nothing is stored, so setting true twice divides twice: set it once, right after
// making a constraint whose constant is in pixels (a one-pixel hairline).
bool usePixels(const ui::LayoutConstraint& constraint);
void setUsePixels(ui::LayoutConstraint constraint, bool usePixels);

}  // namespace dovrel

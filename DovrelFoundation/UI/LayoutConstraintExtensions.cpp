#include "DovrelFoundation/UI/LayoutConstraintExtensions.h"

#include "platform/ui/Screen.h"

namespace dovrel {

ui::LayoutConstraint withPriority(ui::LayoutConstraint constraint, ui::LayoutPriority priority) {
    constraint.setPriority(priority);
    return constraint;
}

void activate(ui::LayoutConstraint constraint) {
    constraint.setActive(true);
}

void deactivate(ui::LayoutConstraint constraint) {
    constraint.setActive(false);
}

ui::LayoutConstraint activated(ui::LayoutConstraint constraint) {
    constraint.setActive(true);
    return constraint;
}

ui::LayoutConstraint deactivated(ui::LayoutConstraint constraint) {
    constraint.setActive(false);
    return constraint;
}

void activate(const std::vector<ui::LayoutConstraint>& constraints) {
    ui::LayoutConstraint::activate(constraints);
}

void deactivate(const std::vector<ui::LayoutConstraint>& constraints) {
    ui::LayoutConstraint::deactivate(constraints);
}

std::vector<ui::LayoutConstraint> activated(std::vector<ui::LayoutConstraint> constraints) {
    ui::LayoutConstraint::activate(constraints);
    return constraints;
}

std::vector<ui::LayoutConstraint> deactivated(std::vector<ui::LayoutConstraint> constraints) {
    ui::LayoutConstraint::deactivate(constraints);
    return constraints;
}

bool usePixels(const ui::LayoutConstraint&) {
    return false;
}

void setUsePixels(ui::LayoutConstraint constraint, bool usePixels) {
    if (usePixels) {
        constraint.setConstant(constraint.constant() / ui::Screen::scale());
    }
}

}  // namespace dovrel

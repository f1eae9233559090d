#pragma once

#include <optional>
#include <string>

#include "platform/ui/LayoutPriority.h"
#include "platform/ui/detail/LayoutItem.h"
#include "platform/ui/solver/Solver.h"

namespace dovrel::ui {
enum class LayoutRelation;
}

namespace dovrel::ui::detail {

class LayoutEngine;

// The parts of an anchor: which edge, centre or size of which item.
enum class LayoutAttribute {
    left,
    right,
    top,
    bottom,
    leading,
    trailing,
    width,
    height,
    centerX,
    centerY
};

struct AnchorData {
    ItemRef item;
    LayoutAttribute attribute = LayoutAttribute::left;
};

// One constraint: first (relation) second * multiplier + constant, or first (relation) constant
// when there is no second anchor.
struct ConstraintData {
    AnchorData first;
    std::optional<AnchorData> second;
    int relation = 0;  // -1 lessThanOrEqual, 0 equal, 1 greaterThanOrEqual
    double multiplier = 1.0;
    double constant = 0.0;
    LayoutPriority priority = kLayoutPriorityRequired;
    bool active = false;
    std::string identifier;

    // Where the constraint currently sits in a solver, for incremental changes; set and cleared
    // by the engine that added it.
    LayoutEngine* engine = nullptr;
    std::optional<solver::Constraint> installed;
    // The last build that collected the constraint (see LayoutEngine::rebuild): a constraint is
    // named by up to two views and must be collected once.
    unsigned long long collectedInBuild = 0;
};

}  // namespace dovrel::ui::detail

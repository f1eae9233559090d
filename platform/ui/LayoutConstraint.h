#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/ui/LayoutPriority.h"

namespace dovrel::ui {

namespace detail {
struct ConstraintData;
}

enum class LayoutRelation { lessThanOrEqual = -1, equal = 0, greaterThanOrEqual = 1 };

// A relation between two anchors (first relation second * multiplier + constant) or between a
// dimension and a fixed size. A handle with shared identity: copies name the same constraint.
// Made by the anchors (LayoutXAxisAnchor and its siblings), inactive and required.
//
// An active constraint takes part in the layout of the window its views are in; the layout runs
// on the next turn of the event loop or at View::layoutIfNeeded(). A constraint between views of
// two different windows is ignored (and logged) until they share one.
//
// Threading: the main (GUI) thread only, as every widget.
class LayoutConstraint {
  public:
    explicit LayoutConstraint(std::shared_ptr<detail::ConstraintData> data);

    bool isActive() const;
    // Adds the constraint to its views' layout, or removes it, and asks for a layout.
    void setActive(bool active);

    LayoutPriority priority() const;
    // A priority outside 1...1000 stops the process (a programming error).
    void setPriority(LayoutPriority priority);

    double constant() const;
    // Changing the constant of an active constraint re-solves incrementally at the next layout.
    void setConstant(double constant);

    double multiplier() const;
    LayoutRelation relation() const;

    // A name for diagnostics.
    const std::string& identifier() const;
    void setIdentifier(std::string identifier);

    // Activates or deactivates every constraint of the list at once: one layout request for all.
    static void activate(const std::vector<LayoutConstraint>& constraints);
    static void deactivate(const std::vector<LayoutConstraint>& constraints);

    const std::shared_ptr<detail::ConstraintData>& data() const { return data_; }

    bool operator==(const LayoutConstraint& other) const { return data_ == other.data_; }

  private:
    std::shared_ptr<detail::ConstraintData> data_;
};

}  // namespace dovrel::ui

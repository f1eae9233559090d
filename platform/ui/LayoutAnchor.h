#pragma once

#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/detail/ConstraintData.h"

namespace dovrel::ui {

// An edge, centre or size of a view or a layout guide, from which constraints are made. Anchors
// are small values; they name their item weakly (a view) or share it (a guide).
//
// Horizontal anchors: leading and trailing follow the item's layout direction (under
// Qt::RightToLeft leading is the right edge and a positive constant moves toward the left);
// left and right never swap.
class LayoutAnchor {
  public:
    LayoutAnchor(detail::ItemRef item, detail::LayoutAttribute attribute)
        : data_{std::move(item), attribute} {}

    const detail::AnchorData& data() const { return data_; }

  protected:
    LayoutConstraint make(LayoutRelation relation, const LayoutAnchor* other, double multiplier,
                          double constant) const;

  private:
    detail::AnchorData data_;
};

class LayoutXAxisAnchor : public LayoutAnchor {
  public:
    using LayoutAnchor::LayoutAnchor;

    LayoutConstraint constraint(LayoutRelation relation, const LayoutXAxisAnchor& other,
                                double constant = 0) const {
        return make(relation, &other, 1.0, constant);
    }
    LayoutConstraint constraintEqualTo(const LayoutXAxisAnchor& other, double constant = 0) const {
        return constraint(LayoutRelation::equal, other, constant);
    }
    LayoutConstraint constraintLessThanOrEqualTo(const LayoutXAxisAnchor& other,
                                                 double constant = 0) const {
        return constraint(LayoutRelation::lessThanOrEqual, other, constant);
    }
    LayoutConstraint constraintGreaterThanOrEqualTo(const LayoutXAxisAnchor& other,
                                                    double constant = 0) const {
        return constraint(LayoutRelation::greaterThanOrEqual, other, constant);
    }
};

class LayoutYAxisAnchor : public LayoutAnchor {
  public:
    using LayoutAnchor::LayoutAnchor;

    LayoutConstraint constraint(LayoutRelation relation, const LayoutYAxisAnchor& other,
                                double constant = 0) const {
        return make(relation, &other, 1.0, constant);
    }
    LayoutConstraint constraintEqualTo(const LayoutYAxisAnchor& other, double constant = 0) const {
        return constraint(LayoutRelation::equal, other, constant);
    }
    LayoutConstraint constraintLessThanOrEqualTo(const LayoutYAxisAnchor& other,
                                                 double constant = 0) const {
        return constraint(LayoutRelation::lessThanOrEqual, other, constant);
    }
    LayoutConstraint constraintGreaterThanOrEqualTo(const LayoutYAxisAnchor& other,
                                                    double constant = 0) const {
        return constraint(LayoutRelation::greaterThanOrEqual, other, constant);
    }
};

// A width or a height.
class LayoutDimension : public LayoutAnchor {
  public:
    using LayoutAnchor::LayoutAnchor;

    // self (relation) other * multiplier + constant
    LayoutConstraint constraint(LayoutRelation relation, const LayoutDimension& other,
                                double multiplier = 1.0, double constant = 0) const {
        return make(relation, &other, multiplier, constant);
    }
    // self (relation) constant
    LayoutConstraint constraint(LayoutRelation relation, double constant) const {
        return make(relation, nullptr, 0.0, constant);
    }
    LayoutConstraint constraintEqualTo(const LayoutDimension& other, double constant = 0) const {
        return constraint(LayoutRelation::equal, other, 1.0, constant);
    }
    LayoutConstraint constraintLessThanOrEqualTo(const LayoutDimension& other,
                                                 double constant = 0) const {
        return constraint(LayoutRelation::lessThanOrEqual, other, 1.0, constant);
    }
    LayoutConstraint constraintGreaterThanOrEqualTo(const LayoutDimension& other,
                                                    double constant = 0) const {
        return constraint(LayoutRelation::greaterThanOrEqual, other, 1.0, constant);
    }
    LayoutConstraint constraintEqualToConstant(double constant) const {
        return constraint(LayoutRelation::equal, constant);
    }
    LayoutConstraint constraintLessThanOrEqualToConstant(double constant) const {
        return constraint(LayoutRelation::lessThanOrEqual, constant);
    }
    LayoutConstraint constraintGreaterThanOrEqualToConstant(double constant) const {
        return constraint(LayoutRelation::greaterThanOrEqual, constant);
    }
    LayoutConstraint constraintEqualTo(const LayoutDimension& other, double multiplier,
                                       double constant) const {
        return constraint(LayoutRelation::equal, other, multiplier, constant);
    }
};

}  // namespace dovrel::ui

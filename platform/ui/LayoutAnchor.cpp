#include "platform/ui/LayoutAnchor.h"

#include <memory>

namespace dovrel::ui {

LayoutConstraint LayoutAnchor::make(LayoutRelation relation, const LayoutAnchor* other,
                                    double multiplier, double constant) const {
    auto data = std::make_shared<detail::ConstraintData>();
    data->first = data_;
    if (other != nullptr) {
        data->second = other->data_;
    }
    data->relation = int(relation);
    data->multiplier = other != nullptr ? multiplier : 1.0;
    data->constant = constant;
    return LayoutConstraint(std::move(data));
}

}  // namespace dovrel::ui

#include "platform/ui/LayoutConstraint.h"

#include <cmath>

#include "platform/foundation/FatalError.h"
#include "platform/ui/detail/LayoutEngine.h"
#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui {

namespace {

using detail::AnchorData;
using detail::ConstraintData;
using detail::ViewData;

// The one or two anchors of a constraint, without allocating: activation runs once per
// constraint of a screen.
struct Anchors {
    const AnchorData* items[2];
    int count;
    const AnchorData* const* begin() const { return items; }
    const AnchorData* const* end() const { return items + count; }
};

Anchors anchorsOf(const ConstraintData& data) {
    return data.second ? Anchors{{&data.first, &*data.second}, 2} : Anchors{{&data.first}, 1};
}

void postLayoutFor(const ConstraintData& data) {
    if (QWidget* host = data.first.item.hostWidget()) {
        ViewData::of(host).postLayout();
    }
}

}  // namespace

LayoutConstraint::LayoutConstraint(std::shared_ptr<detail::ConstraintData> data)
    : data_(std::move(data)) {}

bool LayoutConstraint::isActive() const {
    return data_->active;
}

void LayoutConstraint::setActive(bool active) {
    if (active == data_->active) {
        return;
    }
    const auto anchors = anchorsOf(*data_);
    if (!active) {
        data_->active = false;
        if (data_->engine != nullptr) {
            data_->engine->deactivated(*data_);
        }
        for (const AnchorData* anchor : anchors) {
            if (ViewData* hostData = anchor->item.hostData()) {
                hostData->removeConstraint(data_.get());
            }
        }
        postLayoutFor(*data_);
        return;
    }
    for (const AnchorData* anchor : anchors) {
        if (!anchor->item.isView() && anchor->item.hostWidget() == nullptr) {
            fatalError(
                "A layout guide must belong to a view before its constraints are "
                "activated");
        }
        if (anchor->item.hostWidget() == nullptr) {
            return;  // a deleted view: nothing to lay out
        }
    }
    data_->active = true;
    // An inactive constraint is in no view's list, so it is listed once per host: twice only
    // when both anchors are on one view (a view's width equal to its height).
    const QWidget* listedIn = nullptr;
    QWidget* firstWindow = nullptr;
    for (const AnchorData* anchor : anchors) {
        QWidget* host = anchor->item.hostWidget();
        ViewData& hostData = anchor->item.hostDataMade();
        if (host != listedIn) {
            if (hostData.constraints.empty()) {
                hostData.constraints.reserve(4);  // a view is usually pinned on each side
            }
            hostData.constraints.push_back(data_);
            listedIn = host;
        }
        if (!anchor->item.isView() || !hostData.translates) {
            detail::adoptSuperview(anchor->item.isView() ? host->parentWidget() : host);
        }
        QWidget* window = host->window();
        detail::adoptSuperview(window);
        if (firstWindow == nullptr) {
            firstWindow = window;
        }
    }
    ViewData& window = ViewData::of(firstWindow);
    detail::LayoutEngine* engine = window.existingEngine();
    if (engine == nullptr || !engine->activatedIncrementally(data_)) {
        detail::structureChanged();
    }
    window.postLayout();
}

LayoutPriority LayoutConstraint::priority() const {
    return data_->priority;
}

void LayoutConstraint::setPriority(LayoutPriority priority) {
    if (!std::isfinite(priority) || priority < 1 || priority > kLayoutPriorityRequired) {
        fatalError("A layout priority must be between 1 and 1000");
    }
    if (priority == data_->priority) {
        return;
    }
    data_->priority = priority;
    if (data_->active && data_->engine != nullptr) {
        data_->engine->priorityChanged(*data_);
        postLayoutFor(*data_);
    }
}

double LayoutConstraint::constant() const {
    return data_->constant;
}

void LayoutConstraint::setConstant(double constant) {
    if (constant == data_->constant) {
        return;
    }
    data_->constant = constant;
    if (data_->active) {
        if (data_->engine != nullptr) {
            data_->engine->constantChanged(*data_);
        } else {
            detail::structureChanged();
        }
        postLayoutFor(*data_);
    }
}

double LayoutConstraint::multiplier() const {
    return data_->multiplier;
}

LayoutRelation LayoutConstraint::relation() const {
    return LayoutRelation(data_->relation);
}

const std::string& LayoutConstraint::identifier() const {
    return data_->identifier;
}

void LayoutConstraint::setIdentifier(std::string identifier) {
    data_->identifier = std::move(identifier);
}

void LayoutConstraint::activate(const std::vector<LayoutConstraint>& constraints) {
    for (const auto& constraint : constraints) {
        LayoutConstraint(constraint).setActive(true);
    }
}

void LayoutConstraint::deactivate(const std::vector<LayoutConstraint>& constraints) {
    for (const auto& constraint : constraints) {
        LayoutConstraint(constraint).setActive(false);
    }
}

}  // namespace dovrel::ui

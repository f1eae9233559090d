#include "platform/ui/detail/ViewData.h"

#include <QCoreApplication>
#include <QEvent>
#include <QVariant>
#include <algorithm>

#include "platform/ui/Appearance.h"
#include "platform/ui/ConstraintLayout.h"
#include "platform/ui/detail/LayoutEngine.h"
#include "platform/ui/solver/PointerMap.h"

namespace dovrel::ui::detail {

namespace {

// The attachment of every widget that has one. A hash lookup: a dynamic property read costs a
// walk of the widget's meta-object and dominated laying out hundreds of views. GUI thread only.
solver::PointerMap<ViewData*>& attachments() {
    static solver::PointerMap<ViewData*> map;
    return map;
}

unsigned long long attachmentCounter = 1;
unsigned long long structureCounter = 1;
unsigned long long intrinsicCounter = 1;

QEvent::Type layoutEventType() {
    static const auto type = QEvent::Type(QEvent::registerEventType());
    return type;
}

}  // namespace

unsigned long long attachmentEpoch() {
    return attachmentCounter;
}

unsigned long long structureGeneration() {
    return structureCounter;
}
void structureChanged() {
    ++structureCounter;
}
unsigned long long intrinsicGeneration() {
    return intrinsicCounter;
}
void intrinsicChanged() {
    ++intrinsicCounter;
}

ViewData::ViewData(QWidget* widget) : QObject(widget), widget_(widget) {
    setObjectName(QStringLiteral("_dovrel_view_data"));
    attachments()[widget] = this;
    widget->installEventFilter(this);
}

ViewData::~ViewData() {
    attachments().erase(widget_);
    ++attachmentCounter;
    // The widget is being destroyed (this is its child): its constraints leave every other view
    // and every engine. The widget itself must not be touched any more. The structure changes
    // first, so that the engines rebuild at their next layout instead of taking each constraint
    // out of their solvers one by one.
    structureChanged();
    for (const auto& constraint : constraints) {
        if (constraint->engine != nullptr) {
            constraint->engine->deactivated(*constraint);
        }
        constraint->active = false;
        for (const AnchorData* anchor :
             {&constraint->first, constraint->second ? &*constraint->second : nullptr}) {
            if (anchor == nullptr) {
                continue;
            }
            QWidget* host = anchor->item.hostWidget();
            if (host != nullptr && host != widget_) {
                if (ViewData* other = find(host)) {
                    other->removeConstraint(constraint.get());
                }
            }
        }
    }
    constraints.clear();
    for (const auto& guide : guides) {
        guide->owningView = nullptr;
    }
}

ViewData* ViewData::find(const QWidget* widget) {
    if (widget == nullptr) {
        return nullptr;
    }
    ViewData* const* found = attachments().find(widget);
    return found != nullptr ? *found : nullptr;
}

ViewData& ViewData::of(QWidget* widget) {
    if (ViewData* data = find(widget)) {
        return *data;
    }
    return *new ViewData(widget);
}

LayoutEngine& ViewData::engine() {
    if (!engine_) {
        engine_ = std::make_unique<LayoutEngine>(widget_, LayoutEngine::Mode::window);
    }
    return *engine_;
}

void ViewData::postLayout() {
    QWidget* window = widget_->window();
    ViewData& root = window == widget_ ? *this : of(window);
    if (!root.layoutPosted_) {
        root.layoutPosted_ = true;
        QCoreApplication::postEvent(&root, new QEvent(layoutEventType()));
    }
}

void ViewData::removeConstraint(const ConstraintData* constraint) {
    const auto found = std::find_if(constraints.begin(), constraints.end(),
                                    [&](const auto& held) { return held.get() == constraint; });
    if (found != constraints.end()) {
        constraints.erase(found);
    }
}

bool ViewData::event(QEvent* event) {
    if (event->type() == layoutEventType()) {
        layoutPosted_ = false;
        if (widget_->isWindow()) {
            engine().layout();
        } else {
            of(widget_->window()).postLayout();
        }
        return true;
    }
    return QObject::event(event);
}

bool ViewData::eventFilter(QObject* watched, QEvent* event) {
    if (watched != widget_) {
        return false;
    }
    switch (event->type()) {
        case QEvent::ParentChange:
        case QEvent::LayoutDirectionChange:
            structureChanged();
            postLayout();
            break;
        case QEvent::Move:
        case QEvent::Resize:
            // A translated view that a constraint names moved: its frame enters the layout.
            if (translates && !LayoutEngine::isPlacing() &&
                (!constraints.empty() || widget_->isWindow())) {
                postLayout();
            }
            break;
        case QEvent::Show:
            if (widget_->isWindow() && (engine_ || !constraints.empty())) {
                engine().layout();
            }
            break;
        case QEvent::ApplicationPaletteChange:
            if (!assetColors.empty()) {
                reapplyAssetColors(widget_);
            }
            break;
        default:
            break;
    }
    return false;
}

void adoptSuperview(QWidget* widget) {
    if (widget != nullptr && widget->layout() == nullptr) {
        new ConstraintLayout(widget);
    }
}

}  // namespace dovrel::ui::detail

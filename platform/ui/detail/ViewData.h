#pragma once

#include <QObject>
#include <QPalette>
#include <QWidget>
#include <memory>
#include <utility>
#include <vector>

#include "platform/foundation/Color.h"
#include "platform/ui/LayoutPriority.h"
#include "platform/ui/detail/ConstraintData.h"
#include "platform/ui/detail/LayoutItem.h"

namespace dovrel::ui::detail {

class LayoutEngine;

// Everything the kit keeps about one widget, as a hidden child object of it (so it dies with the
// widget): its layout variables and flags, the active constraints that name it, its layout
// guides, its window's layout engine when it is a window, its style override and the asset
// colours painted on it. It watches its widget's events for what changes the layout.
class ViewData : public QObject {
    Q_OBJECT

  public:
    explicit ViewData(QWidget* widget);
    ~ViewData() override;

    // The attachment of `widget`, or null when it has none yet.
    static ViewData* find(const QWidget* widget);
    // The attachment of `widget`, made when missing.
    static ViewData& of(QWidget* widget);

    QWidget* widget() const { return widget_; }

    bool translates = true;
    LayoutPriority hugging[2] = {kLayoutPriorityDefaultLow, kLayoutPriorityDefaultLow};
    LayoutPriority compression[2] = {kLayoutPriorityDefaultHigh, kLayoutPriorityDefaultHigh};
    ItemVariables variables;

    // Active constraints naming this view or one of its guides (each held by every item it
    // names).
    std::vector<std::shared_ptr<ConstraintData>> constraints;
    std::vector<std::shared_ptr<GuideData>> guides;

    // The last engine build that found this view inside its window (see LayoutEngine::rebuild).
    unsigned long long insideBuild = 0;
    UserInterfaceStyle overrideStyle = UserInterfaceStyle::unspecified;
    // Colours set from assets, re-resolved when the view's effective style changes.
    std::vector<std::pair<QPalette::ColorRole, Color>> assetColors;

    // The engine of the window this widget is (made when first asked).
    LayoutEngine& engine();
    LayoutEngine* existingEngine() const { return engine_.get(); }

    // Posts one layout of this widget's window engine to the event loop (once until it runs).
    void postLayout();

    void removeConstraint(const ConstraintData* constraint);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool event(QEvent* event) override;

  private:
    QWidget* widget_;
    std::unique_ptr<LayoutEngine> engine_;
    bool layoutPosted_ = false;
};

// A counter moved by every destruction of an attachment: a ViewData pointer remembered in one
// epoch is valid as long as the epoch has not moved.
unsigned long long attachmentEpoch();

// A counter of changes that alter which constraints and items take part in layouts (activation,
// reparenting, direction, translation flags, deleted views): an engine rebuilds its solver when
// the counter moved since its last build.
unsigned long long structureGeneration();
void structureChanged();
// A counter of changes of intrinsic sizes.
unsigned long long intrinsicGeneration();
void intrinsicChanged();

// Makes sure the widget that holds constrained subviews forwards Qt's layout events: installs a
// ConstraintLayout on it when it has no layout.
void adoptSuperview(QWidget* widget);

}  // namespace dovrel::ui::detail

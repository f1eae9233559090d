#pragma once

#include <memory>

#include "platform/foundation/Color.h"
#include "platform/ui/View.h"
#include "platform/ui/ViewController.h"

namespace dovrel {

// Something whose light or dark appearance can be chosen, so that code applying the user's
// chosen style treats views and view controllers alike. Unspecified follows the parent (and at
// the top the desktop); an override applies to the whole subtree.
class OverridableUserInterfaceStyle {
  public:
    virtual ~OverridableUserInterfaceStyle() = default;
    virtual UserInterfaceStyle overrideUserInterfaceStyle() const = 0;
    virtual void setOverrideUserInterfaceStyle(UserInterfaceStyle style) = 0;
};

// A view's conformance: its own override.
class StyledView final : public OverridableUserInterfaceStyle {
  public:
    StyledView(ui::View view) : view_(view) {}  // NOLINT: a view is styled as it is

    UserInterfaceStyle overrideUserInterfaceStyle() const override {
        return view_.overrideUserInterfaceStyle();
    }
    void setOverrideUserInterfaceStyle(UserInterfaceStyle style) override {
        view_.setOverrideUserInterfaceStyle(style);
    }

  private:
    ui::View view_;
};

// A view controller's conformance: the controller's own override, which applies to its view
// and to what it presents. Holds the controller weakly: once it is gone, reading gives
// unspecified and setting does nothing.
class StyledViewController final : public OverridableUserInterfaceStyle {
  public:
    explicit StyledViewController(std::weak_ptr<ui::ViewController> controller)
        : controller_(std::move(controller)) {}

    UserInterfaceStyle overrideUserInterfaceStyle() const override {
        const auto controller = controller_.lock();
        return controller ? controller->overrideUserInterfaceStyle()
                          : UserInterfaceStyle::unspecified;
    }
    void setOverrideUserInterfaceStyle(UserInterfaceStyle style) override {
        if (const auto controller = controller_.lock())
            controller->setOverrideUserInterfaceStyle(style);
    }

  private:
    std::weak_ptr<ui::ViewController> controller_;
};

}  // namespace dovrel

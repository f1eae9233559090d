#pragma once

#include <functional>
#include <memory>

#include "platform/ui/ViewController.h"

namespace dovrel {

// What screen logic needs to present and dismiss other screens, so that it can be written (and
// tested) against this protocol instead of a concrete controller. The shorter forms are built on
// the two with a completion: present(c, animated) and dismiss(animated) pass no completion;
// present(c) and dismiss() animate and pass no completion.
class ModalContext {
  public:
    virtual ~ModalContext() = default;

    virtual bool isPresenting() const = 0;
    // The completion, when given, runs after the transition.
    virtual void present(std::shared_ptr<ui::ViewController> controller, bool animated,
                         std::function<void()> completion) = 0;
    void present(std::shared_ptr<ui::ViewController> controller, bool animated) {
        present(std::move(controller), animated, {});
    }
    void present(std::shared_ptr<ui::ViewController> controller) {
        present(std::move(controller), true, {});
    }
    virtual void dismiss(bool animated, std::function<void()> completion) = 0;
    void dismiss(bool animated) { dismiss(animated, {}); }
    void dismiss() { dismiss(true, {}); }
};

// The view controller's conformance: presenting exactly while the controller presents one;
// presentation and dismissal forward to the controller's. Holds the controller weakly: once it
// is gone, isPresenting() is false and the rest do nothing. Main thread only.
class ViewControllerModalContext final : public ModalContext {
  public:
    explicit ViewControllerModalContext(std::weak_ptr<ui::ViewController> controller)
        : controller_(std::move(controller)) {}

    using ModalContext::dismiss;
    using ModalContext::present;

    bool isPresenting() const override;
    void present(std::shared_ptr<ui::ViewController> controller, bool animated,
                 std::function<void()> completion) override;
    void dismiss(bool animated, std::function<void()> completion) override;

  private:
    std::weak_ptr<ui::ViewController> controller_;
};

}  // namespace dovrel

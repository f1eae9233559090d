#pragma once

#include <QPointer>
#include <QWidget>
#include <functional>
#include <memory>

#include "platform/foundation/Color.h"

class QDialog;

namespace dovrel::ui {

// A screen: the owner of a root view, which it makes on first access (loadView(), then
// viewDidLoad()), and the one that presents other screens modally.
//
// Presentation: present() shows the presented controller's view in a modal dialog window over
// this controller's window and keeps the presented controller alive until it is dismissed. The
// completion runs on the next turn of the event loop after the dialog is shown (the transition),
// never inside the call. dismiss() on the presenting controller closes what it presents; on a
// presented controller it asks its presenter. Closing the dialog window (Escape, the window
// manager) dismisses too. `animated` is accepted for the toolkit's shape; dialogs appear at once.
//
// Ownership: the controller owns its view and deletes it when destroyed (unless the view was
// deleted first). Main thread only.
class ViewController : public std::enable_shared_from_this<ViewController> {
  public:
    ViewController();
    virtual ~ViewController();
    ViewController(const ViewController&) = delete;
    ViewController& operator=(const ViewController&) = delete;

    // The root view, made on first access.
    QWidget* view();
    bool isViewLoaded() const { return !view_.isNull(); }
    // Replaces the root view (the controller takes it over).
    void setView(QWidget* view);

    ViewController* presentedViewController() const { return presented_.get(); }
    ViewController* presentingViewController() const { return presenting_; }

    void present(std::shared_ptr<ViewController> controller, bool animated,
                 std::function<void()> completion = {});
    void dismiss(bool animated, std::function<void()> completion = {});

    UserInterfaceStyle overrideUserInterfaceStyle() const { return overrideStyle_; }
    void setOverrideUserInterfaceStyle(UserInterfaceStyle style);

  protected:
    // Makes the root view: a plain widget unless overridden.
    virtual void loadView();
    virtual void viewDidLoad() {}

  private:
    void finishDismissal();

    QPointer<QWidget> view_;
    std::shared_ptr<ViewController> presented_;
    ViewController* presenting_ = nullptr;
    QPointer<QDialog> dialog_;  // the window this controller is presented in
    UserInterfaceStyle overrideStyle_ = UserInterfaceStyle::unspecified;
    bool dismissing_ = false;
};

}  // namespace dovrel::ui

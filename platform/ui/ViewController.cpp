#include "platform/ui/ViewController.h"

#include <QDialog>
#include <QTimer>
#include <QVBoxLayout>

#include "platform/ui/Appearance.h"

namespace dovrel::ui {

namespace {

// Runs `completion` on the next turn of the event loop, after the window change took effect.
void afterTransition(std::function<void()> completion) {
    if (completion) {
        QTimer::singleShot(0, [completion = std::move(completion)] { completion(); });
    }
}

}  // namespace

ViewController::ViewController() = default;

ViewController::~ViewController() {
    if (presented_) {
        presented_->presenting_ = nullptr;
    }
    if (dialog_) {
        dialog_->disconnect();
        if (view_) {
            view_->setParent(nullptr);
        }
        delete dialog_.data();
    }
    delete view_.data();
}

QWidget* ViewController::view() {
    if (!view_) {
        loadView();
        if (!view_) {
            view_ = new QWidget();
        }
        if (overrideStyle_ != UserInterfaceStyle::unspecified) {
            ui::setOverrideUserInterfaceStyle(view_, overrideStyle_);
        }
        viewDidLoad();
    }
    return view_;
}

void ViewController::setView(QWidget* view) {
    if (view_ && view_ != view) {
        delete view_.data();
    }
    view_ = view;
}

void ViewController::loadView() {
    view_ = new QWidget();
}

void ViewController::setOverrideUserInterfaceStyle(UserInterfaceStyle style) {
    overrideStyle_ = style;
    if (view_) {
        ui::setOverrideUserInterfaceStyle(view_, style);
    }
}

void ViewController::present(std::shared_ptr<ViewController> controller, bool,
                             std::function<void()> completion) {
    if (!controller || presented_ || controller->presenting_ != nullptr) {
        return;  // one presentation at a time, as on the phone
    }
    QWidget* owner = view()->window();
    auto* dialog = new QDialog(owner);
    dialog->setAttribute(Qt::WA_DeleteOnClose, false);
    dialog->setWindowModality(Qt::WindowModal);
    auto* layout = new QVBoxLayout(dialog);
    layout->setContentsMargins(0, 0, 0, 0);
    QWidget* content = controller->view();
    layout->addWidget(content);
    content->show();
    presented_ = controller;
    controller->presenting_ = this;
    controller->dialog_ = dialog;
    ViewController* presentedRaw = controller.get();
    QObject::connect(dialog, &QDialog::finished, dialog, [this, presentedRaw] {
        if (presented_.get() == presentedRaw && !presentedRaw->dismissing_) {
            dismiss(false);
        }
    });
    dialog->open();
    afterTransition(std::move(completion));
}

void ViewController::dismiss(bool animated, std::function<void()> completion) {
    if (!presented_) {
        if (presenting_ != nullptr) {
            presenting_->dismiss(animated, std::move(completion));
            return;
        }
        afterTransition(std::move(completion));
        return;
    }
    // Keep the presented controller alive while its window goes away.
    const std::shared_ptr<ViewController> presented = presented_;
    presented->dismissing_ = true;
    presented->finishDismissal();
    presented_.reset();
    presented->presenting_ = nullptr;
    presented->dismissing_ = false;
    afterTransition([presented, completion = std::move(completion)] {
        if (completion) {
            completion();
        }
    });
}

void ViewController::finishDismissal() {
    if (presented_) {
        // What this controller presents goes first.
        dismiss(false);
    }
    if (dialog_) {
        QDialog* dialog = dialog_;
        dialog_ = nullptr;
        dialog->disconnect();
        if (view_) {
            view_->hide();
            view_->setParent(nullptr);
        }
        dialog->close();
        dialog->deleteLater();
    }
}

}  // namespace dovrel::ui

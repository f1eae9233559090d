#include "DovrelFoundation/UI/ViewModels.h"

#include <QMetaObject>
#include <QObject>

#include "platform/ui/Controls.h"

namespace dovrel {

namespace {

// A button's attachments live in hidden child objects named by their keys, so that they die
// with the button. The closure's key is "actionOnTap".
constexpr const char* kViewModelKey = "dovrel.buttonViewModel";
constexpr const char* kActionOnTapKey = "actionOnTap";

class ViewModelAttachment : public QObject {
  public:
    explicit ViewModelAttachment(QAbstractButton* button) : QObject(button) {
        setObjectName(kViewModelKey);
    }
    ButtonViewModel model;
    QMetaObject::Connection tapHandler;  // onTouchUpInside
};

class ActionOnTapAttachment : public QObject {
  public:
    explicit ActionOnTapAttachment(QAbstractButton* button) : QObject(button) {
        setObjectName(kActionOnTapKey);
    }
    std::function<void()> action;
};

template <typename Attachment>
Attachment* attachment(const QAbstractButton* button, const char* key) {
    return static_cast<Attachment*>(button->findChild<QObject*>(key, Qt::FindDirectChildrenOnly));
}

// The tap handler of the view model: runs the stored model's action, when there is one.
void onTouchUpInside(QAbstractButton* button) {
    auto* stored = attachment<ViewModelAttachment>(button, kViewModelKey);
    if (stored != nullptr && stored->model.action) {
        // A copy: the action may set the button up again, replacing the stored model.
        const auto action = stored->model.action;
        action();
    }
}

}  // namespace

void setup(QLabel* label, const std::optional<LabelViewModel>& viewModel) {
    ui::setText(label, viewModel ? viewModel->text : std::nullopt);
}

void setup(QAbstractButton* button, const std::optional<ButtonViewModel>& viewModel) {
    auto* stored = attachment<ViewModelAttachment>(button, kViewModelKey);
    if (stored == nullptr && !viewModel)
        return;
    if (stored == nullptr) {
        stored = new ViewModelAttachment(button);
        stored->model = *viewModel;
        ui::setTitle(button, viewModel->title);
        stored->tapHandler = QObject::connect(button, &QAbstractButton::clicked, stored,
                                              [button] { onTouchUpInside(button); });
        button->setHidden(false);
    } else if (!viewModel) {
        QObject::disconnect(stored->tapHandler);
        delete stored;
        ui::setTitle(button, std::nullopt);
        button->setHidden(true);
    } else {
        stored->model = *viewModel;
        ui::setTitle(button, viewModel->title);
    }
}

std::optional<ButtonViewModel> viewModel(const QAbstractButton* button) {
    const auto* stored = attachment<ViewModelAttachment>(button, kViewModelKey);
    if (stored == nullptr)
        return std::nullopt;
    return stored->model;
}

std::function<void()> actionOnTap(const QAbstractButton* button) {
    const auto* stored = attachment<ActionOnTapAttachment>(button, kActionOnTapKey);
    return stored != nullptr ? stored->action : std::function<void()>();
}

void setActionOnTap(QAbstractButton* button, std::function<void()> action) {
    auto* stored = attachment<ActionOnTapAttachment>(button, kActionOnTapKey);
    if (!action) {
        if (stored != nullptr)
            stored->action = nullptr;
        return;
    }
    if (stored == nullptr) {
        stored = new ActionOnTapAttachment(button);
        // The button is its own target once; the connection lives as long as the attachment.
        QObject::connect(button, &QAbstractButton::clicked, stored,
                         [button] { performActionOnTap(button); });
    }
    stored->action = std::move(action);
}

void performActionOnTap(QAbstractButton* button) {
    const auto* stored = attachment<ActionOnTapAttachment>(button, kActionOnTapKey);
    if (stored != nullptr && stored->action) {
        const auto action = stored->action;
        action();
    }
}

}  // namespace dovrel

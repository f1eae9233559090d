#include "platform/ui/Controls.h"

#include "platform/ui/Appearance.h"
#include "platform/ui/TitleLabelButton.h"

namespace dovrel::ui {

namespace {

std::optional<std::string> nonEmpty(const QString& text) {
    if (text.isEmpty()) {
        return std::nullopt;
    }
    return text.toStdString();
}

}  // namespace

void setText(QLabel* label, const std::optional<std::string>& text) {
    label->setText(text ? QString::fromStdString(*text) : QString());
}

std::optional<std::string> text(const QLabel* label) {
    return nonEmpty(label->text());
}

void setTitle(QAbstractButton* button, const std::optional<std::string>& title) {
    if (auto* titled = dynamic_cast<TitleLabelButton*>(button)) {
        titled->setTitle(title ? std::optional<QString>(QString::fromStdString(*title))
                               : std::nullopt);
        return;
    }
    button->setText(title ? QString::fromStdString(*title) : QString());
}

std::optional<std::string> title(const QAbstractButton* button) {
    if (const auto* titled = dynamic_cast<const TitleLabelButton*>(button)) {
        const auto text = titled->title();
        return text ? nonEmpty(*text) : std::nullopt;
    }
    return nonEmpty(button->text());
}

void setTitleColor(QAbstractButton* button, const Color& color) {
    setAssetColor(button, QPalette::ButtonText, color);
}

void setTextColor(QLabel* label, const Color& color) {
    setAssetColor(label, QPalette::WindowText, color);
}

void setBackgroundColor(QWidget* view, const Color& color) {
    view->setAutoFillBackground(true);
    // The role a widget fills with is inherited: inside a scroll area's viewport (a table's
    // cells) it is Base, which would hide the colour set below.
    view->setBackgroundRole(QPalette::Window);
    setAssetColor(view, QPalette::Window, color);
    setAssetColor(view, QPalette::Button, color);
}

}  // namespace dovrel::ui

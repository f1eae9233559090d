#pragma once

#include <QAbstractButton>
#include <QLabel>
#include <QWidget>
#include <optional>
#include <string>

#include "platform/foundation/Color.h"

namespace dovrel::ui {

// The few control properties the library sets, in the toolkit's terms. A label is a QLabel; a
// button is any QAbstractButton, a TitleLabelButton keeping its title in its title label. An
// absent text and an empty one are the same: setting none clears, reading an empty title gives
// none. Colours are asset colours: they follow the view's light or dark style (Appearance.h).

void setText(QLabel* label, const std::optional<std::string>& text);
std::optional<std::string> text(const QLabel* label);

// The title for the normal state.
void setTitle(QAbstractButton* button, const std::optional<std::string>& title);
std::optional<std::string> title(const QAbstractButton* button);

// The title colour for the normal state (the button's ButtonText).
void setTitleColor(QAbstractButton* button, const Color& color);
void setTextColor(QLabel* label, const Color& color);

// Fills the view's background (Window and Button roles, auto-filled).
void setBackgroundColor(QWidget* view, const Color& color);

}  // namespace dovrel::ui

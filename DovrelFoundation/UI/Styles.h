#pragma once

#include <QAbstractButton>
#include <QLabel>
#include <QWidget>

#include "platform/foundation/Color.h"

namespace dovrel {

// How a view, a label and a button are coloured. Colours are asset colours: they follow the
// view's light or dark appearance.
struct ViewStyle {
    Color backgroundColor;
};

struct LabelStyle {
    ViewStyle viewStyle;
    Color textColor;
};

struct ButtonStyle {
    ViewStyle viewStyle;
    Color titleColor;
};

// Each replaces the properties it names and touches nothing else.
// Sets the background colour.
void apply(QWidget* view, const ViewStyle& style);
// Sets the background colour from `viewStyle`, then the text colour.
void apply(QLabel* label, const LabelStyle& style);
// Sets the background colour from `viewStyle`, then the title colour for the normal state.
void apply(QAbstractButton* button, const ButtonStyle& style);

}  // namespace dovrel

#pragma once

#include <QWidget>

namespace dovrel::app {

// Gives a dialog the interface style of the window it belongs to. A dialog is a window of its
// own, which Qt's palettes do not reach from its parent, so the style is set on it explicitly,
// with the dialog's background colour of that style.
void adoptParentStyle(QWidget* dialog);

}  // namespace dovrel::app

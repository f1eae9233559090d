#pragma once

#include <QColor>
#include <QPalette>
#include <QWidget>

#include "platform/foundation/Color.h"

namespace dovrel::ui {

// Light and dark appearance from the main bundle's colour assets (colors.json; a missing file
// or colour stops the process, as for every named colour).
//
// A view's override style (light, dark or unspecified) applies to its whole subtree: the view
// gets the palette of that style, and its descendants inherit it unless they override again.
// Unspecified follows the parent, and at the top the desktop: the desktop's colour scheme where
// Qt reports one (6.5 and later), else the lightness of the application palette's window colour.
// Colours set through setAssetColor keep both appearances and are re-resolved whenever the
// style that applies to their view changes. Main thread only.

// The colour `color` shows in `style` (unspecified resolves as light).
QColor qColor(const Color& color, UserInterfaceStyle style = UserInterfaceStyle::light);

// The palette of `style` built from the named colours (backgroundDefault for windows and bases,
// foregroundDefault for text, backgroundGray for buttons and alternate rows, foregroundGray for
// disabled text, textPlaceholder, splitter for lines, backgroundMenu for tool tips, sky for
// highlights); unspecified gives the desktop's style.
QPalette palette(UserInterfaceStyle style);

// The desktop's style: light or dark, never unspecified.
UserInterfaceStyle desktopUserInterfaceStyle();

UserInterfaceStyle overrideUserInterfaceStyle(const QWidget* widget);
void setOverrideUserInterfaceStyle(QWidget* widget, UserInterfaceStyle style);

// The style that applies to `widget`: its own override, else its nearest ancestor's, else the
// desktop's. Light or dark.
UserInterfaceStyle effectiveUserInterfaceStyle(const QWidget* widget);

// Paints `role` of the widget's palette with the asset colour `color` in the widget's effective
// style, and keeps doing so when that style changes.
void setAssetColor(QWidget* widget, QPalette::ColorRole role, const Color& color);

// Re-resolves the asset colours of `widget` and of its descendants.
void reapplyAssetColors(QWidget* widget);

}  // namespace dovrel::ui

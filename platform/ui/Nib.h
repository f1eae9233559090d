#pragma once

#include <QWidget>
#include <string_view>

namespace dovrel::ui {

// Nibs are Qt Designer files: the nib `name` is <resources>/nibs/<name>.ui in the main bundle
// (platform/foundation/Bundle.h says where that is).
//
// Loads the nib `name` with QUiLoader and returns its top widget, a child of `parent` when one is
// given (otherwise the caller owns it), or null when the file is missing or cannot be read (a
// warning says which). Main thread only.
QWidget* loadNib(std::string_view name, QWidget* parent = nullptr);

// Whether the main bundle has the nib `name`.
bool nibExists(std::string_view name);

}  // namespace dovrel::ui

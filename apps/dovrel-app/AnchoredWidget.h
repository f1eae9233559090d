#pragma once

#include <QWidget>
#include <utility>

#include "platform/ui/View.h"

namespace dovrel::app {

// A new widget of type Widget inside `parent` (which owns it), laid out by the kit's anchors
// rather than by its autoresizing mask: what every screen of the application and the widget
// builds its views with. The arguments go to Widget's constructor, before the parent.
template <typename Widget, typename... Arguments>
Widget* makeAnchored(QWidget* parent, Arguments&&... arguments) {
    auto* widget = new Widget(std::forward<Arguments>(arguments)..., parent);
    ui::View(widget).setTranslatesAutoresizingMaskIntoConstraints(false);
    return widget;
}

}  // namespace dovrel::app

#pragma once

#include <QSize>

#include "platform/ui/TitleLabelButton.h"

namespace dovrel {

// A button whose title wraps over several lines: it asks for its title label's own size, and
// after each layout gives the title label the width it was laid out at, so that a long title
// wraps within the button rather than widening it.
class MultiLineButton : public ui::TitleLabelButton {
  public:
    explicit MultiLineButton(QWidget* parent = nullptr) : TitleLabelButton(parent) {}

    // The title label's own intrinsic size; zero by zero without a title label.
    QSize intrinsicContentSize() const override;

    // Lays out as the base does; sets the title label's preferred maximum layout width to its
    // current width (0 without a label); lays out as the base does again, so that the new width
    // takes effect in the same pass.
    void layoutSubviews() override;
};

}  // namespace dovrel

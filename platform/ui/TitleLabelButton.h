#pragma once

#include <QPushButton>
#include <optional>

#include "platform/ui/WrappingLabel.h"

namespace dovrel::ui {

// A push button whose title is a separate, word-wrapping label instead of the button's own text,
// so that a long title wraps over several lines. The title label does not exist until a title is
// first set; it paints with the button's ButtonText colour and lets clicks through to the button.
//
// Layout: layoutSubviews() runs on every resize and places the title label over the button's
// contents rectangle (full width, centred vertically, as tall as its text at that width).
// intrinsicContentSize() is what sizeHint() reports, so that constraint layout and box layouts
// read the same size.
class TitleLabelButton : public QPushButton {
  public:
    explicit TitleLabelButton(QWidget* parent = nullptr);

    // The title label, or null while the button never had a title.
    WrappingLabel* titleLabel() const { return titleLabel_; }

    void setTitle(const std::optional<QString>& title);
    std::optional<QString> title() const;

    // The title label's size hint plus the button's contents margins; zero without a label.
    virtual QSize intrinsicContentSize() const;
    QSize sizeHint() const override { return intrinsicContentSize(); }
    QSize minimumSizeHint() const override { return QSize(0, 0); }

    virtual void layoutSubviews();

  protected:
    void resizeEvent(QResizeEvent* event) override;

  private:
    WrappingLabel* titleLabel_ = nullptr;
};

}  // namespace dovrel::ui

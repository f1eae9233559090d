#pragma once

#include <QLabel>

namespace dovrel::ui {

// A word-wrapping label whose size hint honours a preferred maximum layout width: with a width
// above zero it asks for at most that width and the height its text needs there; with zero it
// asks for its text on one line (as wide as the text, never wider than its preferred width).
class WrappingLabel : public QLabel {
  public:
    explicit WrappingLabel(QWidget* parent = nullptr);

    int preferredMaxLayoutWidth() const { return preferredMaxLayoutWidth_; }
    void setPreferredMaxLayoutWidth(int width);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  private:
    int preferredMaxLayoutWidth_ = 0;
};

}  // namespace dovrel::ui

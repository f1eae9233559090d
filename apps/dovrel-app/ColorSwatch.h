#pragma once

#include <QAbstractButton>
#include <QColor>

namespace dovrel::app {

// A round button filled with one colour of the palette; the chosen one wears a ring around it.
// It takes the keyboard focus (arrows move between swatches of a group, space chooses). Main
// thread only.
class ColorSwatch final : public QAbstractButton {
  public:
    ColorSwatch(const QColor& color, int diameter, QWidget* parent = nullptr);

    const QColor& color() const noexcept { return color_; }
    void setColor(const QColor& color);
    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;

  private:
    QColor color_;
    int diameter_;
};

}  // namespace dovrel::app

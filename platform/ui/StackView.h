#pragma once

#include <QPointer>
#include <QWidget>
#include <vector>

#include "platform/ui/LayoutConstraint.h"

namespace dovrel::ui {

// A view that lines its arranged subviews up along an axis, with constraints: each arranged
// subview fills the stack across the axis, follows the previous one at `spacing` along it, and
// the first and last touch the stack's edges. Hidden arranged subviews take no room. Adding an
// arranged subview makes it a child of the stack and turns its translation of geometry into
// constraints off. Main thread only.
class StackView : public QWidget {
  public:
    enum class Axis { horizontal, vertical };

    explicit StackView(QWidget* parent = nullptr);
    ~StackView() override;

    void addArrangedSubview(QWidget* view);
    void insertArrangedSubview(QWidget* view, int index);
    // Stops arranging `view`; it stays a child of the stack.
    void removeArrangedSubview(QWidget* view);
    std::vector<QWidget*> arrangedSubviews() const;

    Axis axis() const { return axis_; }
    void setAxis(Axis axis);
    double spacing() const { return spacing_; }
    void setSpacing(double spacing);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void rebuild();

    std::vector<QPointer<QWidget>> arranged_;
    std::vector<LayoutConstraint> constraints_;
    Axis axis_ = Axis::horizontal;
    double spacing_ = 0;
};

}  // namespace dovrel::ui

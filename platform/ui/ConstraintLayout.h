#pragma once

#include <QLayout>
#include <memory>

namespace dovrel::ui {

namespace detail {
class LayoutEngine;
}

// The QLayout of a widget whose subviews are placed by constraints. It holds no items: it connects
// the widget to Qt's layout machinery. Its size hint and minimum size are the fitting size of the
// constraints inside the widget (so a window cannot shrink below its content, and a box layout
// holding the widget sizes it right); a change of geometry lays the window out; an invalidation
// (a subview's updateGeometry(), as when a label's text changes) makes the next layout re-read
// intrinsic sizes. Installed by the kit on the widgets that hold constrained subviews when they
// have no layout of their own.
class ConstraintLayout : public QLayout {
  public:
    explicit ConstraintLayout(QWidget* widget);
    ~ConstraintLayout() override;

    void addItem(QLayoutItem* item) override;
    QLayoutItem* itemAt(int index) const override;
    QLayoutItem* takeAt(int index) override;
    int count() const override;
    QSize sizeHint() const override;
    QSize minimumSize() const override;
    void setGeometry(const QRect& rect) override;
    void invalidate() override;
    Qt::Orientations expandingDirections() const override;

  private:
    QSize fittingSize() const;

    mutable std::unique_ptr<detail::LayoutEngine> fitting_;
    mutable QSize cachedSize_;
    mutable unsigned long long cachedStructure_ = 0;
    mutable unsigned long long cachedIntrinsic_ = 0;
};

}  // namespace dovrel::ui

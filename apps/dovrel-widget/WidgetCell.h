#pragma once

#include <QLabel>
#include <QWidget>
#include <functional>

#include "apps/dovrel-app/DayToggle.h"

namespace dovrel::widget {

// One habit in the widget's list, laid out with the kit's anchors: a dot of its colour, its name,
// today's progress as a number and a round checkbox for today. The list fills it (display) and
// hears its checkbox through the handler. Main thread only.
class WidgetCell final : public QWidget {
  public:
    static constexpr int kHeight = 40;

    struct Content {
        QString name;
        QColor color;
        int progress = 0;
        bool today = false;
        QString todayTitle;
    };

    explicit WidgetCell(QWidget* parent = nullptr);

    void display(const Content& content);
    void setToggleHandler(std::function<void()> handler) { handler_ = std::move(handler); }

    QLabel* nameLabel() const { return name_; }
    QLabel* progressLabel() const { return progress_; }
    app::DayToggle* todayToggle() const { return today_; }

    QSize sizeHint() const override { return QSize(260, kHeight); }

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void elideName();

    QWidget* dot_;
    QLabel* name_;
    QLabel* progress_;
    app::DayToggle* today_;
    QColor color_;
    QString fullName_;
    std::function<void()> handler_;
};

}  // namespace dovrel::widget

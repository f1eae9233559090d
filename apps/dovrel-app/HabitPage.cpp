#include "apps/dovrel-app/HabitPage.h"

#include <QKeySequence>
#include <QLabel>
#include <QLocale>
#include <QPainter>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <set>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Appearance/StringExtensions.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Progress/HabitStatistics.h"
#include "DovrelFoundation/Progress/ProgressExplanation.h"
#include "DovrelFoundation/Reminders/HabitReminderIdentifiers.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "DovrelFoundation/UI/Styles.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/DialogStyle.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"
#include "platform/notifications/UserNotificationCenter.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"

namespace dovrel::app {

namespace {

using AnalyticsEvents::MainApp;
using ui::LayoutRelation;

constexpr double kMargin = 20;
constexpr double kSpacing = 12;

// A dot of the habit's colour.
class ColorDot final : public QWidget {
  public:
    using QWidget::QWidget;
    void setColor(const QColor& color) {
        color_ = color;
        update();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QPainter painter(this);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(color_);
        painter.drawEllipse(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5));
    }

  private:
    QColor color_;
};

// A day, with its year only when it is not this year's.
std::string dayText(Date day) {
    const Region region = Region::current();
    const bool thisYear = region.components(day).year == region.components(Clock::now()).year;
    return region.format(day, thisYear ? "d MMM" : "d MMM y");
}

std::string daysText(std::int64_t days) {
    return localized("App.Page.Days", days);
}

}  // namespace

HabitPage::HabitPage(AppServices& services, std::shared_ptr<Habit> habit, QWidget* parent)
    : QDialog(parent), services_(services), habit_(std::move(habit)), actions_(services) {
    setObjectName("HabitPage");
    month_ = onlyMonth(Clock::now());

    auto* dot = makeAnchored<ColorDot>(this);
    dot_ = dot;
    AnchoredView(dot_).pinSize(QSizeF(16, 16));
    AnchoredView(dot_).pinLeadingEqualToSuperview(kMargin);
    name_ = makeAnchored<QLabel>(this);
    QFont large = name_->font();
    large.setPointSizeF(large.pointSizeF() * 1.5);
    large.setBold(true);
    name_->setFont(large);
    AnchoredView(name_).pinLeading(LayoutRelation::equal, AnchoredView(dot_).trailingAnchor(), 10);
    AnchoredView(name_).pinTopEqualToSuperview(kMargin);
    AnchoredView(name_).pinTrailingLessThanOrEqualToSuperview(-kMargin);
    AnchoredView(dot_).pinCenterY(LayoutRelation::equal, AnchoredView(name_));
    details_ = makeAnchored<QLabel>(this);
    details_->setWordWrap(true);
    AnchoredView(details_).pinLeading(LayoutRelation::equal, AnchoredView(name_));
    AnchoredView(details_).pinTop(LayoutRelation::equal, AnchoredView(name_).bottomAnchor(), 4);
    AnchoredView(details_).pinTrailingEqualToSuperview(-kMargin);

    // Left column: progress and streaks, then the chart; right column: the month.
    ring_ = makeAnchored<ProgressRing>(this, 84);
    AnchoredView(ring_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(ring_).pinTop(LayoutRelation::equal, AnchoredView(details_).bottomAnchor(),
                               2 * kSpacing);
    progressText_ = makeAnchored<QLabel>(this);
    AnchoredView(progressText_)
        .pinLeading(LayoutRelation::equal, AnchoredView(ring_).trailingAnchor(), kSpacing);
    AnchoredView(progressText_).pinTop(LayoutRelation::equal, AnchoredView(ring_));
    streaks_ = makeAnchored<QLabel>(this);
    streaks_->setWordWrap(true);
    AnchoredView(streaks_).pinLeading(LayoutRelation::equal, AnchoredView(progressText_));
    AnchoredView(streaks_).pinTop(LayoutRelation::equal, AnchoredView(progressText_).bottomAnchor(),
                                  6);

    // Completion of the recent weeks and months, below the streaks.
    rates_ = makeAnchored<QLabel>(this);
    AnchoredView(rates_).pinLeading(LayoutRelation::equal, AnchoredView(ring_));
    AnchoredView(rates_).pinTop(LayoutRelation::equal, AnchoredView(ring_).bottomAnchor(),
                                2 * kSpacing);
    weekBars_ = makeAnchored<CompletionBars>(this);
    monthBars_ = makeAnchored<CompletionBars>(this);
    QWidget* above = rates_;
    for (CompletionBars* bars : {weekBars_, monthBars_}) {
        AnchoredView(bars).pinLeading(LayoutRelation::equal, AnchoredView(ring_));
        AnchoredView(bars).pinTop(LayoutRelation::equal, AnchoredView(above).bottomAnchor(), 6);
        AnchoredView(bars).pinHeight(LayoutRelation::equal, 30.0);
        AnchoredView(bars).pinWidth(LayoutRelation::equal, 260.0);
        // What the row counts, beside it.
        auto* caption = makeAnchored<QLabel>(
            this, appText(bars == weekBars_ ? "App.Page.WeeksCaption" : "App.Page.MonthsCaption"));
        ui::setAssetColor(caption, QPalette::WindowText, foregroundGray());
        AnchoredView(caption).pinLeading(LayoutRelation::equal, AnchoredView(bars).trailingAnchor(),
                                         8);
        AnchoredView(caption).pinCenterY(LayoutRelation::equal, AnchoredView(bars));
        above = bars;
    }

    calendar_ = makeAnchored<MonthCalendar>(this);
    AnchoredView(calendar_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(calendar_).pinSize(QSizeF(calendar_->sizeHint()));
    auto* previous = makeAnchored<QPushButton>(this, QStringLiteral("‹"));
    auto* next = makeAnchored<QPushButton>(this, QStringLiteral("›"));
    for (QPushButton* button : {previous, next}) {
        button->setFlat(true);
        button->setFocusPolicy(Qt::NoFocus);
        AnchoredView(button).pinSize(QSizeF(28, 26));
    }
    previous->setToolTip(QKeySequence(QKeySequence::MoveToPreviousPage).toString());
    next->setToolTip(QKeySequence(QKeySequence::MoveToNextPage).toString());
    monthTitle_ = makeAnchored<QLabel>(this);
    monthTitle_->setAlignment(Qt::AlignCenter);
    AnchoredView(previous).pinLeading(LayoutRelation::equal, AnchoredView(calendar_));
    AnchoredView(next).pinTrailing(LayoutRelation::equal, AnchoredView(calendar_));
    AnchoredView(monthTitle_).pinCenterX(LayoutRelation::equal, AnchoredView(calendar_));
    for (QWidget* item : {static_cast<QWidget*>(previous), static_cast<QWidget*>(next),
                          static_cast<QWidget*>(monthTitle_)}) {
        AnchoredView(item).pinTop(LayoutRelation::equal, AnchoredView(ring_));
    }
    AnchoredView(calendar_).pinTop(LayoutRelation::equal, AnchoredView(previous).bottomAnchor(), 6);
    AnchoredView(streaks_).pinTrailing(LayoutRelation::lessThanOrEqual,
                                       AnchoredView(calendar_).leadingAnchor(), -kMargin);
    AnchoredView(progressText_)
        .pinTrailing(LayoutRelation::lessThanOrEqual, AnchoredView(calendar_).leadingAnchor(),
                     -kMargin);

    // The chart spans the page below the month.
    chart_ = makeAnchored<ScoreChart>(this);
    AnchoredView(chart_).pinLeadingEqualToSuperview(kMargin - 6);
    AnchoredView(chart_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(chart_).pinTop(LayoutRelation::equal, AnchoredView(calendar_).bottomAnchor(),
                                kSpacing);
    AnchoredView(chart_).pinHeight(LayoutRelation::equal, 210.0);

    reminders_ = makeAnchored<QLabel>(this);
    reminders_->setWordWrap(true);
    reminders_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    AnchoredView(reminders_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(reminders_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(reminders_)
        .pinTop(LayoutRelation::equal, AnchoredView(chart_).bottomAnchor(), kSpacing);
    AnchoredView(reminders_).pinBottomLessThanOrEqualToSuperview(-kMargin);

    connect(previous, &QPushButton::clicked, this, [this] { showPreviousMonth(); });
    connect(next, &QPushButton::clicked, this, [this] { showNextMonth(); });
    auto* back = new QShortcut(QKeySequence::MoveToPreviousPage, this);
    connect(back, &QShortcut::activated, this, [this] { showPreviousMonth(); });
    auto* forward = new QShortcut(QKeySequence::MoveToNextPage, this);
    connect(forward, &QShortcut::activated, this, [this] { showNextMonth(); });
    calendar_->setToggleHandler([this](Date day) { toggleDay(day); });

    // The habit changes here (a toggle) and in other processes; a deleted habit closes the page.
    QPointer<HabitPage> self(this);
    observer_ = ManagedObjectObserver::make(
        NotificationCenter::defaultCenter(), habit_,
        [self](ManagedObjectObserver::ChangeType change) {
            QTimer::singleShot(0, [self, change] {
                if (!self) {
                    return;
                }
                if (change == ManagedObjectObserver::ChangeType::delete_) {
                    self->reject();
                } else {
                    self->refresh();
                }
            });
        });
    adoptParentStyle(this);
    resize(780, 660);
    refresh();
}

void HabitPage::showEvent(QShowEvent* event) {
    services_.tracker().trackEvent(MainApp(MainApp::name_detail_screen).rawValue());
    QDialog::showEvent(event);
}

void HabitPage::refresh() {
    const Date now = Clock::now();
    const auto style = ui::effectiveUserInterfaceStyle(this);
    const QColor color = ui::qColor(habit_->color().value_or(foregroundGray()), style);
    const QColor grey = ui::qColor(foregroundGray(), style);
    const QColor grid = ui::qColor(splitter(), style);
    static_cast<ColorDot*>(dot_)->setColor(color);
    const QString name = QString::fromStdString(habit_->name().value_or(""));
    name_->setText(name);
    setWindowTitle(name);
    const auto interval = habit_->repeatInterval().value_or(RepeatInterval());
    QString details = QString::fromStdString(interval.name());
    if (const auto question = habit_->question()) {
        details = QString::fromStdString(*question) + "  ·  " + details;
    }
    details_->setText(details);

    // The page shows the whole history: the checkmarks are read.
    const std::vector<Date> dates = habit_->performingDates();
    const auto explanation = ProgressExplanation::explain(dates, habit_->repeatInterval(), now);
    ring_->setColor(color);
    ring_->setProgress(static_cast<int>(explanation.progress()));
    progressText_->setText(
        appText("App.Page.ProgressToday", {{"progress", std::to_string(explanation.progress())}}));

    const auto statistics =
        HabitStatistics::compute(dates, interval, now, firstWeekday(), habit_->creationDate());
    const QString current = statistics.currentStreak()
                                ? appText("App.Page.CurrentStreak",
                                          {{"days", daysText(statistics.currentStreak()->days)},
                                           {"since", dayText(statistics.currentStreak()->start)}})
                                : appText("App.Page.NoCurrentStreak");
    const QString best =
        statistics.bestStreak()
            ? appText("App.Page.BestStreak", {{"days", daysText(statistics.bestStreak()->days)},
                                              {"from", dayText(statistics.bestStreak()->start)},
                                              {"to", dayText(statistics.bestStreak()->end)}})
            : appText("App.Page.NoBestStreak");
    streaks_->setText(current + "\n" + best);

    const auto percent = [](const CompletionRate& rate) {
        return std::to_string(static_cast<int>(std::lround(rate.rate * 100)));
    };
    if (!statistics.weeks().empty() && !statistics.months().empty()) {
        rates_->setText(
            appText("App.Page.Rates", {{"week", percent(statistics.weeks().back())},
                                       {"month", percent(statistics.months().back())}}));
    } else {
        rates_->setText(appText("App.Page.NoRates"));
    }
    const auto bars = [&](const std::vector<CompletionRate>& rates, const char* titleKey,
                          const char* pattern) {
        std::vector<CompletionBars::Bar> made;
        for (const auto& rate : rates) {
            made.push_back(CompletionBars::Bar{
                rate.rate,
                appText(titleKey, {{"period", Region::current().format(rate.start, pattern)},
                                   {"checked", std::to_string(rate.checkedDays)},
                                   {"days", std::to_string(rate.periodDays)},
                                   {"percent", percent(rate)}})});
        }
        return made;
    };
    weekBars_->display(bars(statistics.weeks(), "App.Page.WeekBar", "d MMM"), color);
    monthBars_->display(bars(statistics.months(), "App.Page.MonthBar", "LLLL y"), color);

    std::vector<ScoreChart::Point> points;
    points.reserve(explanation.steps().size());
    for (const auto& step : explanation.steps()) {
        if (!points.empty() && points.back().day == step.day) {
            points.back().score = step.after;
        } else {
            points.push_back(ScoreChart::Point{step.day, step.after});
        }
    }
    chart_->display(points, onlyDay(dateInDays(now, -365)), now, color, grey, grid);

    std::set<double> checked;
    for (const Date date : dates) {
        checked.insert(onlyDay(date).timeIntervalSinceReferenceDate());
    }
    calendar_->display(month_, checked, now, color);
    monthTitle_->setText(QString::fromStdString(Region::current().format(month_, "LLLL y")));

    // The next reminder, and what is pending for this habit.
    QString reminders;
    if (habit_->remind()) {
        const auto next = habit_->nextReminder();
        reminders =
            next ? appText("App.Page.NextReminder",
                           {{"date", Region::current().format(*next, "EEEE, d MMMM, HH:mm")}})
                 : appText("App.Page.NoNextReminder");
        if (services_.notificationCenterReady()) {
            const std::string uri = habit_->objectID().uriRepresentation();
            std::vector<Date> pending;
            for (const auto& request : services_.notificationCenter().pendingRequests()) {
                const auto found =
                    request.request.content.userInfo.find(kHabitURIRepresentationKey);
                if (found == request.request.content.userInfo.end()) {
                    continue;
                }
                const auto* value = std::get_if<std::string>(&found->second);
                if (value != nullptr && *value == uri && request.triggerDate) {
                    pending.push_back(*request.triggerDate);
                }
            }
            std::sort(pending.begin(), pending.end());
            QStringList shown;
            for (const Date date : pending) {
                shown << QString::fromStdString(Region::current().format(date, "EEE d MMM, HH:mm"));
            }
            reminders +=
                "\n" + (shown.isEmpty() ? appText("App.Page.NoPending")
                                        : appText("App.Page.Pending",
                                                  {{"list", shown.join(", ").toStdString()}}));
        }
    } else {
        reminders = appText("App.Page.NoReminder");
    }
    reminders_->setText(reminders);
}

void HabitPage::showMonth(Date month) {
    month_ = onlyMonth(month);
    refresh();
}

void HabitPage::showPreviousMonth() {
    showMonth(dateInMonths(month_, -1));
}

void HabitPage::showNextMonth() {
    const Date next = dateInMonths(month_, 1);
    if (next <= Clock::now()) {
        showMonth(next);
    }
}

void HabitPage::toggleDay(Date day) {
    actions_.toggleCheckmark(habit_, day, EventSource::habitDetailsScreen,
                             [self = QPointer<HabitPage>(this)](std::optional<Error>) {
                                 if (self) {
                                     self->refresh();
                                 }
                             });
}

QString HabitPage::streaksText() const {
    return streaks_->text();
}
QString HabitPage::ratesText() const {
    return rates_->text();
}
QString HabitPage::remindersText() const {
    return reminders_->text();
}
QString HabitPage::monthTitle() const {
    return monthTitle_->text();
}

}  // namespace dovrel::app

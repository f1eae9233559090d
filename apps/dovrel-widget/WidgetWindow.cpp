#include "apps/dovrel-widget/WidgetWindow.h"

#include <QContextMenuEvent>
#include <QDesktopServices>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QScrollBar>
#include <QSettings>
#include <QSizeGrip>
#include <QUrl>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/Settings/HabitURL.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "DovrelFoundation/UI/Styles.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/RecentCheckmarks.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/Region.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"
#include "platform/ui/table/TableView.h"
#include "platform/widgets/WidgetReloadListener.h"

namespace dovrel::widget {

namespace {

using AnalyticsEvents::Widget;
using ui::LayoutRelation;

constexpr const char* kCellIdentifier = "WidgetCell";
constexpr double kMargin = 12;
constexpr const char* kWidgetKind = "HabitWidget";

QString dayTitle(Date day) {
    return QString::fromStdString(Region::current().format(day, "EEEE, d MMMM"));
}

// Today's checkmark of a habit, from its cache of latest checkmarks or the store (never by
// loading every checkmark).
bool checkedToday(const Habit& habit, Date now) {
    return app::recentCheckmarks(habit, now, 1).back();
}

}  // namespace

// The table's delegate: fills a row from its habit and toggles today on a click.
class WidgetListBinding final : public TableViewDataSourceDelegate<Habit, WidgetCell> {
  public:
    explicit WidgetListBinding(WidgetWindow& window) : window_(window) {}

    void configure(WidgetCell& cell, const std::shared_ptr<Habit>& habit) override {
        const Date now = Clock::now();
        WidgetCell::Content content;
        content.name = QString::fromStdString(habit->name().value_or(""));
        content.color = ui::qColor(habit->color().value_or(foregroundGray()),
                                   ui::effectiveUserInterfaceStyle(&cell));
        content.progress = static_cast<int>(habit->progress(now));
        content.today = checkedToday(*habit, now);
        content.todayTitle = app::appText("App.List.Today", {{"day", dayTitle(now).toStdString()}});
        cell.display(content);
        std::weak_ptr<Habit> weakHabit = habit;
        WidgetWindow* window = &window_;
        cell.setToggleHandler([window, weakHabit] {
            if (auto shown = weakHabit.lock()) {
                window->toggleToday(shown);
            }
        });
    }

    // The widget offers no editing.
    void commit(ui::TableViewCellEditingStyle, const std::shared_ptr<Habit>&) override {}
    void moveRow(const IndexPath&, const IndexPath&) override {}

  private:
    WidgetWindow& window_;
};

WidgetWindow::WidgetWindow(app::AppServices& services, Options options, QWidget* parent)
    : QWidget(parent, Qt::FramelessWindowHint | Qt::WindowStaysOnBottomHint | Qt::Tool),
      services_(services),
      actions_(services),
      options_(std::move(options)) {
    setObjectName("DovrelWidget");
    setWindowTitle(app::appText("Widget.Title"));
    setMinimumSize(220, 120);
    apply(this, ViewStyle{backgroundDefault()});
    StyledView(this).setOverrideUserInterfaceStyle(
        services_.settings().selectedUserInterfaceStyle().value_or(
            UserInterfaceStyle::unspecified));

    title_ = app::makeAnchored<QLabel>(this);
    QFont bold = title_->font();
    bold.setBold(true);
    title_->setFont(bold);
    AnchoredView(title_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(title_).pinTopEqualToSuperview(10);
    AnchoredView(title_).pinTrailingLessThanOrEqualToSuperview(-kMargin);
    message_ = app::makeAnchored<QLabel>(this);
    message_->setWordWrap(true);
    message_->setAlignment(Qt::AlignCenter);
    ui::setAssetColor(message_, QPalette::WindowText, foregroundGray());
    AnchoredView(message_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(message_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(message_).pinCenterYEqualToSuperview(10);
    message_->hide();
    auto* grip = app::makeAnchored<QSizeGrip>(this);
    AnchoredView(grip).pinTrailingEqualToSuperview();
    AnchoredView(grip).pinBottomEqualToSuperview();
    AnchoredView(grip).pinSize(QSizeF(14, 14));

    shownDay_ = onlyDay(Clock::now());
    title_->setText(dayTitle(Clock::now()));
    if (!services_.hasStore()) {
        // Calm: the store may simply not exist yet; the file is never touched either way.
        showMessage(QString::fromStdString(*services_.storeProblem()));
    } else if (options_.habit) {
        buildCompact(*options_.habit);
    } else {
        buildList();
    }
    grip->raise();

    // Reloads: asked over the session bus, at midnight, and when a check finds a new day.
    if (services_.hasStore() && options_.listensForReloads) {
        try {
            QPointer<WidgetWindow> self(this);
            listener_ = std::make_unique<widgets::WidgetReloadListener>(
                [self](const widgets::TimelineReloadRequest& request) {
                    if (request.kind && *request.kind != kWidgetKind) {
                        return;
                    }
                    QMetaObject::invokeMethod(
                        self, [self] { self->reload(); }, Qt::QueuedConnection);
                });
        } catch (const Error&) {
            // No session bus: the other ways of noticing changes remain.
        }
    }
    dayCheck_.setInterval(30 * 1000);
    connect(&dayCheck_, &QTimer::timeout, this, [this] { checkForNewDay(); });
    dayCheck_.start();
    midnight_.setSingleShot(true);
    connect(&midnight_, &QTimer::timeout, this, [this] { checkForNewDay(); });
    scheduleMidnight();
    geometrySave_.setSingleShot(true);
    geometrySave_.setInterval(400);
    connect(&geometrySave_, &QTimer::timeout, this, [this] { saveGeometry(); });
    resize(compactHabit_ ? QSize(200, 210) : QSize(300, 360));
    restoreGeometry();
}

WidgetWindow::~WidgetWindow() {
    // The listener's thread posts to this window: it stops first.
    listener_.reset();
}

void WidgetWindow::buildList() {
    table_ = app::makeAnchored<ui::TableView>(this);
    table_->setRowHeight(WidgetCell::kHeight);
    table_->setAllowsReordering(false);
    table_->setFrameShape(QFrame::NoFrame);
    table_->registerCell(kCellIdentifier, [] { return new WidgetCell; });
    apply(table_->viewport(), ViewStyle{backgroundDefault()});
    ui::setAssetColor(table_, QPalette::Highlight, backgroundGray());
    for (const auto axis : {ui::LayoutAxis::horizontal, ui::LayoutAxis::vertical}) {
        ui::View(table_).setContentCompressionResistancePriority(ui::kLayoutPriorityDefaultLow,
                                                                 axis);
    }
    AnchoredView(table_).pinLeadingEqualToSuperview();
    AnchoredView(table_).pinTrailingEqualToSuperview();
    AnchoredView(table_).pinTop(LayoutRelation::equal, AnchoredView(title_).bottomAnchor(), 6);
    AnchoredView(table_).pinBottomEqualToSuperview(-8);
    message_->raise();

    auto controller = std::make_shared<store::FetchedResultsController<Habit>>(
        Habit::sortedFetchRequest(std::nullopt, false), services_.coreDataManager().viewContext());
    binding_ = std::make_shared<WidgetListBinding>(*this);
    dataSource_ = TableViewDataSource<WidgetListBinding>::make(table_, kCellIdentifier,
                                                               std::move(controller), binding_);
    updateEmptyState();
}

void WidgetWindow::buildCompact(const std::string& wanted) {
    auto& context = services_.viewContext();
    for (const auto& habit : context.fetch(Habit::sortedFetchRequest(std::nullopt, false))) {
        if (habit->name() == wanted || habit->objectID().uriRepresentation() == wanted) {
            compactHabit_ = habit;
            break;
        }
    }
    if (!compactHabit_) {
        showMessage(app::appText("Widget.NoSuchHabit", {{"habit", wanted}}));
        return;
    }
    compactRing_ = app::makeAnchored<app::ProgressRing>(this, 72);
    compactName_ = app::makeAnchored<QLabel>(this);
    compactName_->setAlignment(Qt::AlignCenter);
    QFont bold = compactName_->font();
    bold.setBold(true);
    compactName_->setFont(bold);
    compactToggle_ = app::makeAnchored<app::DayToggle>(this, 36);
    AnchoredView(compactRing_).pinCenterXEqualToSuperview();
    AnchoredView(compactRing_)
        .pinTop(LayoutRelation::equal, AnchoredView(title_).bottomAnchor(), 10);
    AnchoredView(compactName_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(compactName_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(compactName_)
        .pinTop(LayoutRelation::equal, AnchoredView(compactRing_).bottomAnchor(), 8);
    AnchoredView(compactToggle_).pinCenterXEqualToSuperview();
    AnchoredView(compactToggle_)
        .pinTop(LayoutRelation::equal, AnchoredView(compactName_).bottomAnchor(), 8);
    connect(compactToggle_, &QAbstractButton::clicked, this,
            [this] { toggleToday(compactHabit_); });
    QPointer<WidgetWindow> self(this);
    compactObserver_ = ManagedObjectObserver::make(
        NotificationCenter::defaultCenter(), compactHabit_,
        [self](ManagedObjectObserver::ChangeType change) {
            QMetaObject::invokeMethod(
                self,
                [self, change] {
                    if (change == ManagedObjectObserver::ChangeType::delete_) {
                        self->showMessage(
                            app::appText("Widget.NoSuchHabit", {{"habit", *self->options_.habit}}));
                        self->compactHabit_.reset();
                        for (QWidget* part : {static_cast<QWidget*>(self->compactRing_),
                                              static_cast<QWidget*>(self->compactName_),
                                              static_cast<QWidget*>(self->compactToggle_)}) {
                            part->hide();
                        }
                    } else {
                        self->refreshCompact();
                    }
                },
                Qt::QueuedConnection);
        });
    refreshCompact();
}

void WidgetWindow::refreshCompact() {
    if (!compactHabit_) {
        return;
    }
    const Date now = Clock::now();
    const QColor color = ui::qColor(compactHabit_->color().value_or(foregroundGray()),
                                    ui::effectiveUserInterfaceStyle(this));
    compactRing_->setColor(color);
    compactRing_->setProgress(static_cast<int>(compactHabit_->progress(now)));
    compactName_->setText(QString::fromStdString(compactHabit_->name().value_or("")));
    compactToggle_->setColor(color);
    compactToggle_->setChecked(checkedToday(*compactHabit_, now));
}

void WidgetWindow::showMessage(const QString& text) {
    message_->setText(text);
    message_->show();
    message_->raise();
}

void WidgetWindow::updateEmptyState() {
    if (!dataSource_) {
        return;
    }
    const bool empty = dataSource_->fetchedResultsController()->fetchedObjects().empty();
    message_->setVisible(empty);
    if (empty) {
        message_->setText(app::appText("Widget.Empty.NoHabits"));
    }
}

WidgetCell* WidgetWindow::cellAt(std::size_t row) const {
    return table_ ? dynamic_cast<WidgetCell*>(table_->cellForRow(IndexPath{0, row})) : nullptr;
}

void WidgetWindow::reload() {
    ++reloads_;
    shownDay_ = onlyDay(Clock::now());
    title_->setText(dayTitle(Clock::now()));
    if (dataSource_) {
        const int scrolled = table_->verticalScrollBar()->value();
        const auto selected = table_->indexPathForSelectedRow();
        // Read again from the store, not from what the context holds.
        for (const auto& habit : dataSource_->fetchedResultsController()->fetchedObjects()) {
            services_.viewContext().refresh(habit, false);
        }
        dataSource_->reconfigureFetchRequest([](store::FetchRequestBase&) {});
        table_->verticalScrollBar()->setValue(scrolled);
        table_->selectRow(selected);
        table_->verticalScrollBar()->setValue(scrolled);
        updateEmptyState();
    }
    if (compactHabit_) {
        services_.viewContext().refresh(compactHabit_, false);
    }
    refreshCompact();
}

void WidgetWindow::checkForNewDay() {
    if (onlyDay(Clock::now()) != shownDay_) {
        reload();
    }
    scheduleMidnight();
}

void WidgetWindow::scheduleMidnight() {
    const Date now = Clock::now();
    const Date next = onlyDay(dateInDays(now, 1));
    const double seconds =
        next.timeIntervalSinceReferenceDate() - now.timeIntervalSinceReferenceDate();
    // A second past midnight, so that the new day has begun when the check runs.
    midnight_.start(static_cast<int>(std::clamp(seconds + 1, 1.0, 86400.0 + 3600.0) * 1000));
}

void WidgetWindow::toggleToday(const std::shared_ptr<Habit>& habit) {
    actions_.toggleCheckmark(
        habit, Clock::now(), EventSource::todayWidget,
        [self = QPointer<WidgetWindow>(this)](std::optional<Error> error) {
            if (self && error) {
                self->showMessage(app::appText(
                    "App.Error.SaveFailed", {{"detail", CoreDataManager::describeError(*error)}}));
            }
        });
}

void WidgetWindow::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    // A hairline frame: the window has none of its own, and the desktop may be of its colour.
    QPainter painter(this);
    painter.setPen(ui::qColor(splitter(), ui::effectiveUserInterfaceStyle(this)));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
}

void WidgetWindow::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    QAction* open = menu.addAction(app::appText("Widget.OpenApp"));
    connect(open, &QAction::triggered, this, [] {
        QDesktopServices::openUrl(
            QUrl(QString::fromStdString(HabitURL(HabitURL::habitList).url().absoluteString())));
    });
    QAction* quit = menu.addAction(app::appText("Widget.Quit"));
    connect(quit, &QAction::triggered, this, [this] { close(); });
    menu.exec(event->globalPos());
}

void WidgetWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        dragOffset_ = event->globalPosition().toPoint() - frameGeometry().topLeft();
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void WidgetWindow::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) {
        move(event->globalPosition().toPoint() - dragOffset_);
        event->accept();
        return;
    }
    QWidget::mouseMoveEvent(event);
}

void WidgetWindow::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    if (!restoringGeometry_) {
        geometrySave_.start();
    }
}

void WidgetWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (!restoringGeometry_) {
        geometrySave_.start();
    }
}

void WidgetWindow::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    const auto count = dataSource_
                           ? dataSource_->fetchedResultsController()->fetchedObjects().size()
                           : std::size_t{0};
    AnalyticsParameters parameters;
    parameters[std::string(Widget(Widget::widget_screen_param_habits_count).rawValue())] =
        AnalyticsParameterValue(static_cast<std::int64_t>(count));
    services_.tracker().trackEvent(Widget(Widget::widget_screen).rawValue(), parameters);
}

QString WidgetWindow::geometryKey() const {
    // Per screen, and per mode: a compact widget of one habit keeps a place of its own.
    const QScreen* where = screen();
    const QString mode = options_.habit
                             ? "habit-" + QString::fromStdString(*options_.habit).toUtf8().toHex()
                             : QStringLiteral("list");
    return "widget/" + mode + "/" + (where ? where->name() : QStringLiteral("default"));
}

void WidgetWindow::saveGeometry() {
    QSettings settings;
    settings.setValue(geometryKey(), geometry());
}

void WidgetWindow::restoreGeometry() {
    QSettings settings;
    const QRect kept = settings.value(geometryKey()).toRect();
    if (kept.isValid()) {
        restoringGeometry_ = true;
        setGeometry(kept);
        restoringGeometry_ = false;
    }
}

}  // namespace dovrel::widget

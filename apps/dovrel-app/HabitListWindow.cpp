#include "apps/dovrel-app/HabitListWindow.h"

#include <QCloseEvent>
#include <QKeySequence>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QShortcut>
#include <set>

#include "DovrelFoundation/Analytics/AnalyticsEvents.h"
#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/DateExtensions.h"
#include "DovrelFoundation/UI/HasLayoutAnchors.h"
#include "DovrelFoundation/UI/OverridableUserInterfaceStyle.h"
#include "DovrelFoundation/UI/Styles.h"
#include "apps/dovrel-app/AnchoredWidget.h"
#include "apps/dovrel-app/AppServices.h"
#include "apps/dovrel-app/AppText.h"
#include "apps/dovrel-app/DialogStyle.h"
#include "apps/dovrel-app/HabitEditor.h"
#include "apps/dovrel-app/HabitPage.h"
#include "apps/dovrel-app/RecentCheckmarks.h"
#include "apps/dovrel-app/SettingsDialog.h"
#include "platform/foundation/Clock.h"
#include "platform/foundation/NotificationCenter.h"
#include "platform/foundation/Region.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/ui/Appearance.h"
#include "platform/ui/View.h"
#include "platform/ui/table/TableView.h"

namespace dovrel::app {

namespace {

using AnalyticsEvents::MainApp;
using ui::LayoutRelation;

constexpr const char* kCellIdentifier = "HabitCell";
constexpr double kMargin = 16;

QString dayTitle(Date day) {
    return QString::fromStdString(Region::current().format(day, "EEEE, d MMMM"));
}

// The names of habits that contain `text`, ignoring case, as a predicate on the name; every
// habit when the text is empty.
std::optional<store::Predicate> namesContaining(store::ManagedObjectContext& context,
                                                const QString& text) {
    const QString wanted = text.trimmed();
    if (wanted.isEmpty()) {
        return std::nullopt;
    }
    std::vector<store::Predicate> matches;
    std::set<std::string> seen;
    context.forEachAttributes(
        Habit::fetchRequest(std::nullopt, false), {"name"}, store::AttributeForm::values,
        [&](const store::ManagedObjectID&, const std::vector<store::Value>& values) {
            const auto name = values[0].string();
            if (name && QString::fromStdString(*name).contains(wanted, Qt::CaseInsensitive) &&
                seen.insert(*name).second) {
                matches.push_back(store::Key("name") == store::Value(*name));
            }
        });
    if (matches.empty()) {
        return store::Predicate::value(false);
    }
    return store::Predicate::orPredicate(std::move(matches));
}

}  // namespace

// The table's delegate: fills a row from its habit and hands the row's edits to the window.
class HabitListBinding final : public TableViewDataSourceDelegate<Habit, HabitCell> {
  public:
    explicit HabitListBinding(HabitListWindow& window) : window_(window) {}

    void configure(HabitCell& cell, const std::shared_ptr<Habit>& habit) override {
        const Date now = Clock::now();
        const auto style = ui::effectiveUserInterfaceStyle(&cell);
        HabitCell::Content content;
        content.name = QString::fromStdString(habit->name().value_or(""));
        content.question = QString::fromStdString(habit->question().value_or(""));
        content.interval =
            QString::fromStdString(habit->repeatInterval().value_or(RepeatInterval()).name());
        content.color = ui::qColor(habit->color().value_or(foregroundGray()), style);
        content.progress = static_cast<int>(habit->progress(now));
        const auto days = recentCheckmarks(*habit, now, HabitCell::kPastDays + 1);
        const Region region = Region::current();
        for (int index = 0; index < HabitCell::kPastDays; ++index) {
            const Date day = dateInDays(now, index - HabitCell::kPastDays);
            const auto slot = static_cast<std::size_t>(index);
            content.pastDays[slot] = days[slot];
            content.pastDayLetters[slot] = QString::fromStdString(region.format(day, "EEEEE"));
            content.pastDayTitles[slot] = dayTitle(day);
        }
        content.today = days.back();
        content.todayTitle = appText("App.List.Today", {{"day", dayTitle(now).toStdString()}});
        cell.display(content);
        std::weak_ptr<Habit> weakHabit = habit;
        HabitListWindow* window = &window_;
        cell.setToggleHandler([window, weakHabit](int daysBeforeToday) {
            if (auto shown = weakHabit.lock()) {
                window->actions_.toggleCheckmark(shown, dateInDays(Clock::now(), -daysBeforeToday),
                                                 EventSource::habitsListScreen,
                                                 [window](std::optional<Error> error) {
                                                     if (error) {
                                                         window->showSaveError(*error);
                                                     }
                                                 });
            }
        });
    }

    void commit(ui::TableViewCellEditingStyle editingStyle,
                const std::shared_ptr<Habit>& habit) override {
        if (editingStyle == ui::TableViewCellEditingStyle::delete_) {
            window_.deleteHabit(habit);
        }
    }

    // The table does not offer moves (the model keeps no order of its own), so none arrives.
    void moveRow(const IndexPath&, const IndexPath&) override {}

  private:
    HabitListWindow& window_;
};

HabitListWindow::HabitListWindow(AppServices& services, QWidget* parent)
    : QMainWindow(parent), services_(services), actions_(services) {
    setWindowTitle(appText("App.Name"));
    setObjectName("HabitListWindow");
    auto* content = new QWidget(this);
    setCentralWidget(content);
    apply(content, ViewStyle{backgroundDefault()});

    QSettings settings;
    const QSize size = settings.value("window/size", QSize(760, 560)).toSize();
    // Narrower than this, a row's texts would run under its toggles.
    setMinimumSize(QSize(600, 280));
    resize(size.expandedTo(minimumSize()));

    message_ = makeAnchored<QLabel>(content);
    message_->setWordWrap(true);
    message_->setAlignment(Qt::AlignCenter);
    message_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    ui::setAssetColor(message_, QPalette::WindowText, foregroundGray());
    AnchoredView(message_).pinLeadingEqualToSuperview(3 * kMargin);
    AnchoredView(message_).pinTrailingEqualToSuperview(-3 * kMargin);
    AnchoredView(message_).pinCenterYEqualToSuperview();

    if (!services_.hasStore()) {
        message_->setText(QString::fromStdString(*services_.storeProblem()));
        message_->setObjectName("storeProblem");
        return;
    }
    buildList();
    services_.tracker().trackEvent(MainApp(MainApp::name_main_screen).rawValue());
}

HabitListWindow::~HabitListWindow() = default;

void HabitListWindow::buildList() {
    QWidget* content = centralWidget();
    auto* title = makeAnchored<QLabel>(content, appText("App.List.Title"));
    QFont large = title->font();
    large.setPointSizeF(large.pointSizeF() * 1.6);
    large.setBold(true);
    title->setFont(large);
    auto* date = makeAnchored<QLabel>(content, dayTitle(Clock::now()));
    date->setObjectName("date");
    ui::setAssetColor(date, QPalette::WindowText, foregroundGray());
    auto* settingsButton = makeAnchored<QPushButton>(content, appText("App.List.Settings"));
    settingsButton->setFocusPolicy(Qt::NoFocus);
    auto* add = makeAnchored<QPushButton>(content, appText("App.List.Add"));
    add->setToolTip(QKeySequence(QKeySequence::New).toString(QKeySequence::NativeText));
    add->setFocusPolicy(Qt::NoFocus);
    filter_ = makeAnchored<QLineEdit>(content);
    filter_->setPlaceholderText(appText("App.List.FilterPlaceholder"));
    filter_->setClearButtonEnabled(true);
    filter_->hide();
    table_ = makeAnchored<ui::TableView>(content);
    table_->setRowHeight(HabitCell::kHeight);
    table_->setAllowsReordering(false);
    table_->registerCell(kCellIdentifier, [] { return new HabitCell; });
    table_->setFocusPolicy(Qt::StrongFocus);
    table_->setFrameShape(QFrame::NoFrame);
    // The list scrolls rather than holding the window open: it gives way to any window size.
    for (const auto axis : {ui::LayoutAxis::horizontal, ui::LayoutAxis::vertical}) {
        ui::View(table_).setContentCompressionResistancePriority(ui::kLayoutPriorityDefaultLow,
                                                                 axis);
    }
    apply(table_->viewport(), ViewStyle{backgroundDefault()});
    ui::setAssetColor(table_, QPalette::Highlight, backgroundGray());

    AnchoredView(title).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(title).pinTopEqualToSuperview(kMargin);
    AnchoredView(date).pinLeading(LayoutRelation::equal, AnchoredView(title));
    AnchoredView(date).pinTop(LayoutRelation::equal, AnchoredView(title).bottomAnchor(), 2);
    AnchoredView(add).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(add).pinCenterY(LayoutRelation::equal, AnchoredView(title));
    AnchoredView(settingsButton)
        .pinTrailing(LayoutRelation::equal, AnchoredView(add).leadingAnchor(), -8);
    AnchoredView(settingsButton).pinCenterY(LayoutRelation::equal, AnchoredView(title));
    AnchoredView(filter_).pinLeadingEqualToSuperview(kMargin);
    AnchoredView(filter_).pinTrailingEqualToSuperview(-kMargin);
    AnchoredView(filter_).pinTop(LayoutRelation::equal, AnchoredView(date).bottomAnchor(), 10);
    AnchoredView(table_).pinLeadingEqualToSuperview();
    AnchoredView(table_).pinTrailingEqualToSuperview();
    // The table starts below the title, or below the filter while it is shown.
    tableBelowTitle_ = std::make_unique<ui::LayoutConstraint>(AnchoredView(table_).topConstraint(
        LayoutRelation::equal, AnchoredView(date).bottomAnchor(), 10));
    tableBelowFilter_ = std::make_unique<ui::LayoutConstraint>(AnchoredView(table_).topConstraint(
        LayoutRelation::equal, AnchoredView(filter_).bottomAnchor(), 8));
    tableBelowTitle_->setActive(true);
    AnchoredView(table_).pinBottomEqualToSuperview();
    message_->raise();

    // Oldest first, as the library sorts habits.
    auto controller = std::make_shared<store::FetchedResultsController<Habit>>(
        Habit::sortedFetchRequest(std::nullopt, false), services_.coreDataManager().viewContext());
    binding_ = std::make_shared<HabitListBinding>(*this);
    dataSource_ = TableViewDataSource<HabitListBinding>::make(table_, kCellIdentifier,
                                                              std::move(controller), binding_);
    shownDay_ = onlyDay(Clock::now());
    // Rows come and go as this and other processes save: the empty state follows, once the
    // controller has taken the change.
    contextObservation_ = NotificationCenter::defaultCenter().addObserver(
        store::ManagedObjectContext::kObjectsDidChangeNotification,
        services_.coreDataManager().viewContext().get(), [this](const Notification&) {
            QTimer::singleShot(0, this, [this] { updateEmptyState(); });
        });

    connect(add, &QPushButton::clicked, this, [this] { addHabit(); });
    connect(settingsButton, &QPushButton::clicked, this, [this] { openSettings(); });
    connect(filter_, &QLineEdit::textChanged, this,
            [this](const QString& text) { setFilterText(text); });
    connect(filter_, &QLineEdit::returnPressed, this, [this] { table_->setFocus(); });
    auto shortcut = [this](const QKeySequence& keys, QWidget* scope, Qt::ShortcutContext context,
                           std::function<void()> action) {
        auto* made = new QShortcut(keys, scope);
        made->setContext(context);
        connect(made, &QShortcut::activated, this, std::move(action));
    };
    shortcut(QKeySequence::New, this, Qt::WindowShortcut, [this] { addHabit(); });
    shortcut(QKeySequence::Find, this, Qt::WindowShortcut, [this] { showFilter(); });
    shortcut(QKeySequence(Qt::Key_Escape), filter_, Qt::WidgetShortcut, [this] { hideFilter(); });
    shortcut(QKeySequence(Qt::Key_Space), table_, Qt::WidgetShortcut,
             [this] { toggleSelectedHabitToday(); });
    for (const auto key : {Qt::Key_Return, Qt::Key_Enter}) {
        shortcut(QKeySequence(key), table_, Qt::WidgetShortcut, [this] { openSelectedHabit(); });
    }
    shortcut(QKeySequence(Qt::CTRL | Qt::Key_E), this, Qt::WindowShortcut,
             [this] { editSelectedHabit(); });
    shortcut(QKeySequence::Quit, this, Qt::WindowShortcut, [this] { close(); });
    shortcut(QKeySequence::Preferences, this, Qt::WindowShortcut, [this] { openSettings(); });
    shortcut(QKeySequence(Qt::CTRL | Qt::Key_Comma), this, Qt::WindowShortcut,
             [this] { openSettings(); });

    // The list shows today: at the start of a new day (checked each minute, which also covers a
    // resume or a change of zone) the rows are filled again.
    dayTimer_.setInterval(60 * 1000);
    connect(&dayTimer_, &QTimer::timeout, this, [this] { refreshForNewDay(); });
    dayTimer_.start();

    updateEmptyState();
    table_->setFocus();
    if (table_->numberOfRows(0) > 0) {
        table_->selectRow(IndexPath{0, 0});
    }
}

void HabitListWindow::updateEmptyState() {
    if (!table_) {
        return;
    }
    const bool empty = dataSource_->fetchedResultsController()->fetchedObjects().empty();
    message_->setVisible(empty);
    if (empty) {
        message_->setText(filter_->text().trimmed().isEmpty() ? appText("App.List.Empty")
                                                              : appText("App.List.NoMatch"));
    }
}

void HabitListWindow::refreshForNewDay() {
    const Date today = onlyDay(Clock::now());
    if (today == shownDay_) {
        return;
    }
    shownDay_ = today;
    if (auto* date = centralWidget()->findChild<QLabel*>("date")) {
        date->setText(dayTitle(Clock::now()));
    }
    table_->reloadData();
}

std::shared_ptr<Habit> HabitListWindow::selectedHabit() const {
    return dataSource_ ? dataSource_->selectedObject() : nullptr;
}

HabitCell* HabitListWindow::cellForHabit(const std::shared_ptr<Habit>& habit) const {
    if (!dataSource_) {
        return nullptr;
    }
    const auto indexPath = dataSource_->fetchedResultsController()->indexPath(habit);
    return indexPath ? dynamic_cast<HabitCell*>(table_->cellForRow(*indexPath)) : nullptr;
}

bool HabitListWindow::runEditor(HabitEditor& editor) {
    if (editorDriver_) {
        return editorDriver_(editor);
    }
    return editor.exec() == QDialog::Accepted;
}

void HabitListWindow::addHabit() {
    if (!dataSource_) {
        return;
    }
    HabitDraft draft;
    // Pale colours read poorly on a light background, so a light window leaves them out.
    draft.color = randomColor(habitPalette(),
                              ui::effectiveUserInterfaceStyle(this) == UserInterfaceStyle::light
                                  ? ExcludedColors::paleColors()
                                  : ExcludedColors::nothing());
    HabitEditor editor(HabitEditor::Mode::add, draft, services_.tracker(), this);
    if (!runEditor(editor)) {
        return;
    }
    actions_.addHabit(
        editor.draft(), [this](std::shared_ptr<Habit> added, std::optional<Error> error) {
            if (error) {
                showSaveError(*error);
                return;
            }
            updateEmptyState();
            if (const auto indexPath = dataSource_->fetchedResultsController()->indexPath(added)) {
                table_->selectRow(*indexPath);
            }
        });
}

void HabitListWindow::editSelectedHabit() {
    const auto habit = selectedHabit();
    if (!habit) {
        return;
    }
    HabitEditor editor(HabitEditor::Mode::edit, draftOf(*habit), services_.tracker(), this);
    if (!runEditor(editor)) {
        return;
    }
    actions_.editHabit(habit, editor.draft(), [this](std::optional<Error> error) {
        if (error) {
            showSaveError(*error);
        }
    });
}

void HabitListWindow::openSelectedHabit() {
    const auto habit = selectedHabit();
    if (!habit) {
        return;
    }
    HabitPage page(services_, habit, this);
    if (pageDriver_) {
        pageDriver_(page);
    } else {
        page.exec();
    }
}

void HabitListWindow::deleteHabit(const std::shared_ptr<Habit>& habit) {
    bool confirmed = false;
    if (confirmDelete_) {
        confirmed = confirmDelete_(*habit);
    } else {
        QMessageBox question(
            QMessageBox::Question, appText("App.Delete.Title"),
            appText("App.Delete.Question", {{"habit", habit->name().value_or("")}}),
            QMessageBox::NoButton, this);
        adoptParentStyle(&question);
        QPushButton* remove =
            question.addButton(appText("App.Delete.Confirm"), QMessageBox::DestructiveRole);
        question.addButton(appText("App.Editor.Cancel"), QMessageBox::RejectRole);
        question.exec();
        confirmed = question.clickedButton() == remove;
    }
    if (!confirmed) {
        return;
    }
    actions_.deleteHabit(habit, [this](std::optional<Error> error) {
        if (error) {
            showSaveError(*error);
        }
        updateEmptyState();
    });
}

void HabitListWindow::toggleSelectedHabitToday() {
    if (const auto habit = selectedHabit()) {
        actions_.toggleCheckmark(habit, Clock::now(), EventSource::habitsListScreen,
                                 [this](std::optional<Error> error) {
                                     if (error) {
                                         showSaveError(*error);
                                     }
                                 });
    }
}

void HabitListWindow::showFilter() {
    if (!filter_) {
        return;
    }
    filter_->show();
    tableBelowTitle_->setActive(false);
    tableBelowFilter_->setActive(true);
    filter_->setFocus();
    filter_->selectAll();
}

void HabitListWindow::hideFilter() {
    if (!filter_) {
        return;
    }
    filter_->clear();
    filter_->hide();
    tableBelowFilter_->setActive(false);
    tableBelowTitle_->setActive(true);
    table_->setFocus();
}

void HabitListWindow::setFilterText(const QString& text) {
    if (!dataSource_) {
        return;
    }
    if (filter_->text() != text) {
        filter_->setText(text);  // comes back here through textChanged
        return;
    }
    auto predicate = namesContaining(services_.viewContext(), text);
    dataSource_->reconfigureFetchRequest(
        [&](store::FetchRequestBase& request) { request.setPredicate(std::move(predicate)); });
    updateEmptyState();
    if (table_->numberOfRows(0) > 0) {
        table_->selectRow(IndexPath{0, 0});
    }
}

void HabitListWindow::openSettings() {
    SettingsDialog dialog(
        services_, [this](UserInterfaceStyle style) { applyStyle(style); }, this);
    if (settingsDriver_) {
        settingsDriver_(dialog);
    } else {
        dialog.exec();
    }
}

void HabitListWindow::applyStyle(UserInterfaceStyle style) {
    StyledView(this).setOverrideUserInterfaceStyle(style);
    // The rows' colours are resolved for the style when they are filled.
    if (table_) {
        const auto selected = table_->indexPathForSelectedRow();
        table_->reloadData();
        table_->selectRow(selected);
    }
}

void HabitListWindow::showSaveError(const Error& error) {
    QMessageBox::warning(
        this, appText("App.Name"),
        appText("App.Error.SaveFailed", {{"detail", CoreDataManager::describeError(error)}}));
}

void HabitListWindow::closeEvent(QCloseEvent* event) {
    QSettings settings;
    settings.setValue("window/size", size());
    QMainWindow::closeEvent(event);
}

}  // namespace dovrel::app

#include "DovrelFoundation/UI/TableViewDataSource.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <memory>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Persistence/ContextExtensions.h"
#include "tests/DovrelFoundation/HabitStore.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel {
namespace {

using store::FetchedResultsChangeType;

class HabitCell : public QLabel {};

// Shows a habit's name; records what the binding handed over.
class HabitListDelegate : public TableViewDataSourceDelegate<Habit, HabitCell> {
  public:
    int configured = 0;
    std::vector<std::string> committed;
    std::vector<std::pair<IndexPath, IndexPath>> moves;

    void configure(HabitCell& cell, const std::shared_ptr<Habit>& habit) override {
        ++configured;
        cell.setText(QString::fromStdString(habit->name().value_or("")));
    }
    void commit(ui::TableViewCellEditingStyle, const std::shared_ptr<Habit>& habit) override {
        committed.push_back(habit->name().value_or(""));
    }
    void moveRow(const IndexPath& from, const IndexPath& to) override {
        moves.emplace_back(from, to);
    }
};

class TableViewDataSourceTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ui::test::application();
        ui::TableView::setAnimationsEnabled(false);
        store.context().setAutomaticallyMergesChangesFromParent(true);
        for (int i = 0; i < 30; ++i) {
            auto habit = insertObject<Habit>(store.context());
            habit->setName("Habit " + std::to_string(i));
            habit->setCreationDate(Date(1000.0 * i));
        }
        store.context().save();
        table = std::make_unique<ui::TableView>();
        table->resize(300, 440);  // ten rows of 44 on screen
        table->setRowHeight(44);
        table->registerCell("HabitCell", [] { return new HabitCell; });
    }
    void TearDown() override { ui::TableView::setAnimationsEnabled(std::nullopt); }

    void bind() {
        auto request = Habit::sortedFetchRequest(std::nullopt, false);
        controller = std::make_shared<store::FetchedResultsController<Habit>>(
            request, store.sharedContext());
        dataSource = TableViewDataSource<HabitListDelegate>::make(table.get(), "HabitCell",
                                                                  controller, delegate);
    }

    QString textAt(std::size_t row) const {
        auto* cell = qobject_cast<QLabel*>(table->cellForRow({0, row}));
        return cell != nullptr ? cell->text() : QString("(off screen)");
    }

    // Changes habits in a background context, saves, and lets the view context merge.
    void inBackground(const std::function<void(store::ManagedObjectContext&)>& change) {
        auto background = store.container().newBackgroundContext();
        background->performAndWait([&] {
            change(*background);
            background->save();
        });
        testing::HabitStore::drainMainQueue();
    }

    std::shared_ptr<Habit> habitNamed(store::ManagedObjectContext& context,
                                      const std::string& name) {
        for (const auto& habit : context.fetch(Habit::fetchRequest(std::nullopt, false))) {
            if (habit->name() == name)
                return habit;
        }
        return nullptr;
    }

    testing::HabitStore store;
    std::unique_ptr<ui::TableView> table;
    std::shared_ptr<HabitListDelegate> delegate = std::make_shared<HabitListDelegate>();
    std::shared_ptr<store::FetchedResultsController<Habit>> controller;
    std::shared_ptr<TableViewDataSource<HabitListDelegate>> dataSource;
};

TEST_F(TableViewDataSourceTest, TheTableShowsTheHabitsOldestFirst) {
    bind();
    EXPECT_EQ(table->numberOfRows(0), 30u);
    EXPECT_EQ(textAt(0), "Habit 0");
    EXPECT_EQ(textAt(9), "Habit 9");
    EXPECT_EQ(textAt(20), "(off screen)");
    EXPECT_EQ(dataSource->objectAtIndexPath({0, 20})->name(), "Habit 20");
    EXPECT_LE(delegate->configured, 11);  // a screenful, not thirty
}

TEST_F(TableViewDataSourceTest, ChangesInAnotherContextAreReplayedRowByRow) {
    bind();
    QWidget* firstCell = table->cellForRow({0, 1});
    inBackground([&](store::ManagedObjectContext& context) {
        context.deleteObject(habitNamed(context, "Habit 0"));
        auto added = insertObject<Habit>(context);
        added->setName("Meditate");
        added->setCreationDate(Date(2500.0));  // between Habit 2 and Habit 3
        habitNamed(context, "Habit 1")->setName("Habit 1, renamed");
        habitNamed(context, "Habit 5")->setCreationDate(Date(100000.0));  // moves to the end
    });
    EXPECT_EQ(table->numberOfRows(0), 30u);
    EXPECT_EQ(textAt(0), "Habit 1, renamed");
    EXPECT_EQ(table->cellForRow({0, 0}), firstCell);  // updated in place, not reloaded
    EXPECT_EQ(textAt(1), "Habit 2");
    EXPECT_EQ(textAt(2), "Meditate");
    EXPECT_EQ(textAt(3), "Habit 3");
    EXPECT_EQ(textAt(4), "Habit 4");
    EXPECT_EQ(textAt(5), "Habit 6");
    EXPECT_EQ(dataSource->objectAtIndexPath({0, 29})->name(), "Habit 5");
    for (std::size_t row = 0; row < 10; ++row) {
        EXPECT_EQ(textAt(row).toStdString(),
                  dataSource->objectAtIndexPath({0, row})->name().value_or(""));
    }
}

TEST_F(TableViewDataSourceTest, AnUpdateOfARowOffScreenDoesNothing) {
    bind();
    const int before = delegate->configured;
    inBackground([&](store::ManagedObjectContext& context) {
        habitNamed(context, "Habit 25")->setName("Habit 25, renamed");
    });
    EXPECT_EQ(delegate->configured, before);
    EXPECT_EQ(table->cellForRow({0, 25}), nullptr);
    table->scrollToRow({0, 25});
    EXPECT_EQ(textAt(25), "Habit 25, renamed");  // read when it comes into view
}

TEST_F(TableViewDataSourceTest, MovingARowOntoItselfDoesNotReachTheDelegate) {
    bind();
    dataSource->moveRow(*table, {0, 3}, {0, 3});
    EXPECT_TRUE(delegate->moves.empty());
    dataSource->moveRow(*table, {0, 3}, {0, 5});
    ASSERT_EQ(delegate->moves.size(), 1u);
    EXPECT_EQ(delegate->moves[0], (std::pair<IndexPath, IndexPath>{{0, 3}, {0, 5}}));
    EXPECT_TRUE(dataSource->canMoveRowAt(*table, {0, 0}));
}

TEST_F(TableViewDataSourceTest, EditsAndSelectionNameTheirRecords) {
    bind();
    EXPECT_EQ(dataSource->selectedObject(), nullptr);
    table->selectRow(IndexPath{0, 4});
    ASSERT_NE(dataSource->selectedObject(), nullptr);
    EXPECT_EQ(dataSource->selectedObject()->name(), "Habit 4");
    dataSource->commit(*table, ui::TableViewCellEditingStyle::delete_, {0, 2});
    EXPECT_EQ(delegate->committed, (std::vector<std::string>{"Habit 2"}));
}

TEST_F(TableViewDataSourceTest, ReconfiguringTheFetchRequestRefetchesAndReloads) {
    bind();
    dataSource->reconfigureFetchRequest([](store::FetchRequestBase& request) {
        request.setPredicate(store::Predicate::comparison(
            "creationDate", store::Predicate::Operator::greaterThanOrEqualTo, Date(20000.0)));
    });
    EXPECT_EQ(table->numberOfRows(0), 10u);
    EXPECT_EQ(textAt(0), "Habit 20");
}

using TableViewDataSourceDeathTest = TableViewDataSourceTest;

TEST_F(TableViewDataSourceDeathTest, ACellOfAnotherClassStops) {
    table->registerCell("HabitCell", [] { return new QLabel; });
    EXPECT_DEATH(bind(),
                 "Fatal error: Unexpected cell type at \\[0, 0\\]: file "
                 "DovrelFoundation/TableViewDataSource");
}

TEST_F(TableViewDataSourceDeathTest, MissingIndexPathsStopWithTheirMessages) {
    bind();
    auto habit = dataSource->objectAtIndexPath({0, 0});
    EXPECT_DEATH(dataSource->controller(*controller, habit, std::nullopt,
                                        FetchedResultsChangeType::insert, std::nullopt),
                 "Fatal error: Index path should be not nil");
    EXPECT_DEATH(dataSource->controller(*controller, habit, std::nullopt,
                                        FetchedResultsChangeType::delete_, std::nullopt),
                 "Fatal error: Index path should be not nil");
    EXPECT_DEATH(dataSource->controller(*controller, habit, IndexPath{0, 0},
                                        FetchedResultsChangeType::move, std::nullopt),
                 "Fatal error: New index path should be not nil");
    EXPECT_DEATH(dataSource->controller(*controller, habit, std::nullopt,
                                        FetchedResultsChangeType::update, std::nullopt),
                 "Fatal error: Index path should be not nil");
    EXPECT_DEATH(dataSource->controller(*controller, habit, IndexPath{0, 0},
                                        static_cast<FetchedResultsChangeType>(9), IndexPath{0, 0}),
                 "Fatal error: Unexpected behaviour");
}

TEST_F(TableViewDataSourceDeathTest, ADelegateThatIsGoneStopsWhenACellIsNeeded) {
    bind();
    delegate.reset();
    EXPECT_DEATH(dataSource->commit(*table, ui::TableViewCellEditingStyle::delete_, {0, 0}),
                 "Fatal error: The table view data source's delegate is gone");
}

}  // namespace
}  // namespace dovrel

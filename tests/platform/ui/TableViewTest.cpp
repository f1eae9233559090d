#include "platform/ui/table/TableView.h"

#include <gtest/gtest.h>

#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <memory>
#include <string>
#include <vector>

#include "platform/ui/table/TableViewDataSource.h"
#include "tests/platform/ui/QtTestApplication.h"

namespace dovrel::ui {
namespace {

// Rows of text in one section, shown by labels; remembers what the table told it.
class TextRows : public TableViewDataSource {
  public:
    std::vector<std::string> rows;
    int cellsMade = 0;
    std::vector<IndexPath> committed;
    std::vector<std::pair<IndexPath, IndexPath>> moves;

    std::size_t numberOfRowsInSection(TableView&, std::size_t) override { return rows.size(); }
    QWidget* cellForRowAt(TableView& table, const IndexPath& indexPath) override {
        auto* label = static_cast<QLabel*>(table.dequeueReusableCell("text", indexPath));
        label->setText(QString::fromStdString(rows[indexPath.row()]));
        return label;
    }
    void commit(TableView&, TableViewCellEditingStyle style, const IndexPath& indexPath) override {
        if (style == TableViewCellEditingStyle::delete_)
            committed.push_back(indexPath);
    }
    bool canMoveRowAt(TableView&, const IndexPath&) override { return true; }
    void moveRow(TableView&, const IndexPath& from, const IndexPath& to) override {
        moves.emplace_back(from, to);
    }
};

class TableViewTest : public ::testing::Test {
  protected:
    void SetUp() override {
        test::application();
        TableView::setAnimationsEnabled(false);
        rows = std::make_shared<TextRows>();
        for (int i = 0; i < 1000; ++i)
            rows->rows.push_back("Habit " + std::to_string(i));
        table = std::make_unique<TableView>();
        table->resize(300, 440);
        table->setRowHeight(44);
        table->registerCell("text", [this] {
            ++rows->cellsMade;
            return new QLabel;
        });
        table->setDataSource(rows);
        table->reloadData();
    }
    void TearDown() override { TableView::setAnimationsEnabled(std::nullopt); }

    QString textAt(std::size_t row) const {
        auto* cell = qobject_cast<QLabel*>(table->cellForRow({0, row}));
        return cell != nullptr ? cell->text() : QString("(not visible)");
    }

    std::shared_ptr<TextRows> rows;
    std::unique_ptr<TableView> table;
};

TEST_F(TableViewTest, OnlyAScreenfulOfCellsExistsForAThousandRows) {
    EXPECT_EQ(table->numberOfRows(0), 1000u);
    const auto visible = table->indexPathsForVisibleRows();
    ASSERT_FALSE(visible.empty());
    EXPECT_LE(visible.size(), 12u);
    EXPECT_EQ(visible.front(), (IndexPath{0, 0}));
    EXPECT_LE(rows->cellsMade, 12);
    EXPECT_EQ(textAt(0), "Habit 0");
}

TEST_F(TableViewTest, CellsThatLeaveTheScreenAreReusedForOtherRows) {
    const int made = rows->cellsMade;
    table->scrollToRow({0, 500});
    EXPECT_EQ(textAt(500), "Habit 500");
    EXPECT_EQ(table->cellForRow({0, 0}), nullptr);
    EXPECT_LE(rows->cellsMade, made + 2);  // the ones already made came back
}

TEST_F(TableViewTest, ABatchOfInsertsAndDeletesMatchesTheDataSource) {
    rows->rows.erase(rows->rows.begin() + 1);            // delete row 1
    rows->rows.insert(rows->rows.begin(), "New habit");  // insert at 0
    table->beginUpdates();
    table->deleteRows({{0, 1}}, TableViewRowAnimation::fade);
    table->insertRows({{0, 0}}, TableViewRowAnimation::fade);
    table->endUpdates();
    EXPECT_EQ(table->numberOfRows(0), 1000u);
    EXPECT_EQ(textAt(0), "New habit");
    EXPECT_EQ(textAt(1), "Habit 0");
    EXPECT_EQ(textAt(2), "Habit 2");
}

TEST_F(TableViewTest, AnUpdateWhoseCountsDoNotAddUpStops) {
    EXPECT_DEATH(
        {
            table->beginUpdates();
            table->insertRows({{0, 0}}, TableViewRowAnimation::fade);  // the source still has 1000
            table->endUpdates();
        },
        "Fatal error: Invalid update: ");
}

TEST_F(TableViewTest, TheDeleteKeyCommitsADeleteEditOfTheSelectedRow) {
    table->selectRow(IndexPath{0, 2});
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Delete, Qt::NoModifier);
    QCoreApplication::sendEvent(table.get(), &press);
    ASSERT_EQ(rows->committed.size(), 1u);
    EXPECT_EQ(rows->committed[0], (IndexPath{0, 2}));
    auto menu = table->contextMenuForRow({0, 5});
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 1);
    EXPECT_EQ(menu->actions()[0]->text(), "Delete");
    menu->actions()[0]->trigger();
    ASSERT_EQ(rows->committed.size(), 2u);
    EXPECT_EQ(rows->committed[1], (IndexPath{0, 5}));
}

TEST_F(TableViewTest, AMovedRowSlidesToItsNewPlace) {
    std::rotate(rows->rows.begin(), rows->rows.begin() + 1, rows->rows.begin() + 4);
    table->moveRow({0, 0}, {0, 3});
    EXPECT_EQ(textAt(0), "Habit 1");
    EXPECT_EQ(textAt(3), "Habit 0");
    EXPECT_EQ(table->rectForRow({0, 3}).top(), 3 * 44);
}

TEST_F(TableViewTest, ARowDraggedElsewhereMovesAndTellsTheDataSource) {
    table->show();  // a drag grabs the mouse, which needs a window
    auto send = [&](QEvent::Type type, int y, Qt::MouseButtons buttons) {
        const QPointF point(100, y);
        QMouseEvent event(type, point, table->viewport()->mapToGlobal(point), Qt::LeftButton,
                          buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(table->viewport(), &event);
    };
    send(QEvent::MouseButtonPress, 44 + 22, Qt::LeftButton);
    send(QEvent::MouseMove, 44 * 2 + 22, Qt::LeftButton);
    send(QEvent::MouseMove, 44 * 4 + 22, Qt::LeftButton);
    // The data source follows the move it is told about.
    rows->rows.insert(rows->rows.begin() + 5, rows->rows[1]);
    rows->rows.erase(rows->rows.begin() + 1);
    send(QEvent::MouseButtonRelease, 44 * 4 + 22, Qt::NoButton);
    ASSERT_EQ(rows->moves.size(), 1u);
    EXPECT_EQ(rows->moves[0], (std::pair<IndexPath, IndexPath>{{0, 1}, {0, 4}}));
    EXPECT_EQ(textAt(4), "Habit 1");
    EXPECT_EQ(textAt(1), "Habit 2");
}

TEST_F(TableViewTest, AClickSelectsTheRowUnderThePointer) {
    std::optional<IndexPath> chosen;
    table->setSelectionHandler([&](const IndexPath& indexPath) { chosen = indexPath; });
    const QPointF point(100, 44 * 3 + 10);
    QMouseEvent press(QEvent::MouseButtonPress, point, table->viewport()->mapToGlobal(point),
                      Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(table->viewport(), &press);
    EXPECT_EQ(chosen, (IndexPath{0, 3}));
    EXPECT_EQ(table->indexPathForSelectedRow(), (IndexPath{0, 3}));
}

}  // namespace
}  // namespace dovrel::ui

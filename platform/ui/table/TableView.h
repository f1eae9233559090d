#pragma once

#include <QAbstractScrollArea>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/store/IndexPath.h"
#include "platform/ui/table/TableUpdateBatch.h"
#include "platform/ui/table/TableViewCellEditingStyle.h"
#include "platform/ui/table/TableViewDataSource.h"
#include "platform/ui/table/TableViewRowAnimation.h"

class QMenu;
class QParallelAnimationGroup;

namespace dovrel::ui {

using store::IndexPath;

// A scrolling list of rows in sections, each row shown by a cell: any QWidget. The table asks
// its data source for the counts and for a cell whenever a row comes into view, so only about a
// screenful of cells exists however long the list is; a cell that scrolls out of view goes to a
// pool by its reuse identifier and comes back from dequeueReusableCell() for another row.
//
// Changes. reloadData() forgets every row and asks again. Between beginUpdates() and
// endUpdates() (which nest; the outermost pair counts) the caller describes how the rows
// changed: deletions, reloads and move sources by their index paths before the batch,
// insertions and move destinations by their paths after it. The table applies the batch at
// endUpdates(): it asks the data source for the new counts and stops the process when they do
// not follow from the old counts and the batch (a programming error), then moves the cells it
// has: deleted rows fade out, inserted rows fade in, rows that change place slide. A change
// made outside beginUpdates()/endUpdates() is a batch of its own. Until the batch ends,
// cellForRow() and the other queries describe the rows as they were.
//
// Animations run on the event loop and end with every cell exactly where the layout puts it;
// scrolling, resizing, reloading or a new batch ends running animations at once. They can be
// switched off for the whole process (setAnimationsEnabled(false), or the environment variable
// DOVREL_TABLE_ANIMATIONS=0), and then every change takes effect at once.
//
// Interaction: a click selects a row, the up and down keys move the selection, the Delete key
// and the context menu's "Delete" commit a delete edit of the row to the data source, and a row
// that the data source lets move can be dragged to another place; the table moves it and then
// tells the data source.
//
// Threading: GUI thread only. Ownership: the table owns its cells; it holds its data source
// weakly (a data source that is gone counts as an empty one).
class TableView : public QAbstractScrollArea {
    Q_OBJECT

  public:
    // rowHeight() value that makes each row as tall as its cell wants (the cell's
    // heightForWidth() or size hint), measured when the cell is made for the row.
    static constexpr int automaticDimension = -1;
    // The length of every animation, in milliseconds.
    static constexpr int kAnimationDuration = 250;

    // Makes a new cell for a reuse identifier; the table takes ownership of it.
    using CellFactory = std::function<QWidget*()>;
    // Told about a selection the user made (a click or a key).
    using SelectionHandler = std::function<void(const IndexPath&)>;

    explicit TableView(QWidget* parent = nullptr);
    ~TableView() override;

    // Whether changes animate, for every table of the process. Unless set, on when the
    // environment variable DOVREL_TABLE_ANIMATIONS is not "0".
    static bool animationsEnabled();
    static void setAnimationsEnabled(std::optional<bool> enabled);

    std::shared_ptr<TableViewDataSource> dataSource() const { return dataSource_.lock(); }
    // Does not reload: call reloadData() to show the new data source's rows.
    void setDataSource(std::weak_ptr<TableViewDataSource> dataSource) {
        dataSource_ = std::move(dataSource);
    }

    // How to make cells for `identifier` (a later registration replaces an earlier one).
    void registerCell(const std::string& identifier, CellFactory factory);
    // A cell for `identifier` to show the row at `indexPath`: one that left the screen, or a new
    // one from the factory. An identifier that was never registered stops the process.
    QWidget* dequeueReusableCell(const std::string& identifier, const IndexPath& indexPath);

    void reloadData();

    void beginUpdates();
    void endUpdates();
    void insertRows(const std::vector<IndexPath>& indexPaths, TableViewRowAnimation animation);
    void deleteRows(const std::vector<IndexPath>& indexPaths, TableViewRowAnimation animation);
    void reloadRows(const std::vector<IndexPath>& indexPaths, TableViewRowAnimation animation);
    void moveRow(const IndexPath& from, const IndexPath& to);

    std::size_t numberOfSections() const { return counts_.size(); }
    std::size_t numberOfRows(std::size_t section) const;

    // The cell on screen for the row, or null when the row is not in view.
    QWidget* cellForRow(const IndexPath& indexPath) const;
    // The rows whose cells are on screen, in order.
    std::vector<IndexPath> indexPathsForVisibleRows() const;
    std::vector<QWidget*> visibleCells() const;
    // The row of a visible cell.
    std::optional<IndexPath> indexPathForCell(const QWidget* cell) const;
    // The row under a point of the viewport, if any.
    std::optional<IndexPath> indexPathForRow(const QPoint& viewportPoint) const;
    // The row's rectangle in the viewport's coordinates (it may lie outside the viewport).
    QRect rectForRow(const IndexPath& indexPath) const;
    // Scrolls as little as needed to show the whole row.
    void scrollToRow(const IndexPath& indexPath);

    int rowHeight() const noexcept { return rowHeight_; }
    // A height in pixels for every row, or automaticDimension.
    void setRowHeight(int height);
    // The height assumed for a row whose cell was never measured (automatic heights only).
    int estimatedRowHeight() const noexcept { return estimatedRowHeight_; }
    void setEstimatedRowHeight(int height);

    std::optional<IndexPath> indexPathForSelectedRow() const { return selected_; }
    // Selects the row (nothing clears the selection) and scrolls it into view. Does not call
    // the selection handler, which is for the user's choices.
    void selectRow(std::optional<IndexPath> indexPath);
    void deselectRow(const IndexPath& indexPath);
    void setSelectionHandler(SelectionHandler handler) { selectionHandler_ = std::move(handler); }
    // Whether a row can be dragged to another place (when its data source also allows it). On
    // by default; off for lists whose order is not the user's to choose.
    bool allowsReordering() const noexcept { return allowsReordering_; }
    void setAllowsReordering(bool allows) noexcept { allowsReordering_ = allows; }

    // The row's context menu: one action, "Delete", that commits a delete edit of the row.
    std::unique_ptr<QMenu> contextMenuForRow(const IndexPath& indexPath);

    bool isAnimating() const noexcept { return animations_ != nullptr; }
    // Ends running animations at once, in their final state.
    void finishAnimations();

    QSize sizeHint() const override;

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;

  private:
    // Cells that leave the screen while a change is applied: they slide or fade first and go
    // to the pool when the animations end.
    struct Transition {
        std::vector<QWidget*> created;
        std::vector<std::pair<QWidget*, IndexPath>> departing;
    };

    // ---- rows and geometry (TableView.cpp) ----
    std::size_t totalRows() const;
    std::size_t flatIndex(const IndexPath& indexPath) const;
    IndexPath indexPathAtFlat(std::size_t flat) const;
    int heightOfRow(const IndexPath& indexPath) const;
    void ensureGeometry() const;
    // Content coordinates: the top of the row and the height of everything.
    int rowTop(const IndexPath& indexPath) const;
    int contentHeight() const;
    void updateScrollBars();
    // Places the visible rows' cells, making the missing ones and putting away the others.
    void layoutCells(Transition* transition = nullptr);
    QWidget* makeCell(const IndexPath& indexPath);
    void measure(QWidget* cell, const IndexPath& indexPath);
    void recycle(QWidget* cell);
    void markSelected(QWidget* cell, bool selected);

    // ---- changes and animations (TableViewUpdates.cpp) ----
    void applyBatch(const TableUpdateBatch& batch, const std::vector<std::size_t>& newCounts,
                    const std::map<IndexPath, TableViewRowAnimation>& deleteAnimations,
                    const std::map<IndexPath, TableViewRowAnimation>& insertAnimations);
    void startAnimations(std::vector<std::pair<QWidget*, QPoint>> slides,
                         std::vector<QWidget*> fadeIns, std::vector<QWidget*> fadeOuts);
    void completeAnimations();

    // ---- interaction (TableViewInteraction.cpp) ----
    void selectByUser(const IndexPath& indexPath);
    void commitDelete(const IndexPath& indexPath);
    IndexPath dragDestination(int viewportY) const;
    void endDrag(const QPoint& viewportPoint);

    std::weak_ptr<TableViewDataSource> dataSource_;
    std::unordered_map<std::string, CellFactory> factories_;
    std::unordered_map<std::string, std::vector<QPointer<QWidget>>> pool_;

    // The rows per section as the table knows them, and each row's measured height (-1 when
    // unknown).
    std::vector<std::size_t> counts_;
    std::vector<std::vector<int>> heights_;
    int rowHeight_ = 44;
    int estimatedRowHeight_ = 44;
    // Flat row tops in content coordinates, recomputed when dirty.
    mutable std::vector<int> tops_;
    mutable bool geometryDirty_ = true;

    std::map<IndexPath, QWidget*> visible_;
    std::optional<IndexPath> selected_;
    SelectionHandler selectionHandler_;
    bool allowsReordering_ = true;

    // The batch being collected.
    int updateDepth_ = 0;
    TableUpdateBatch pending_;
    std::map<IndexPath, TableViewRowAnimation> pendingDeleteAnimations_;
    std::map<IndexPath, TableViewRowAnimation> pendingInsertAnimations_;

    // Running animations and the cells to put away when they end.
    QParallelAnimationGroup* animations_ = nullptr;
    std::vector<QPointer<QWidget>> animatedCells_;
    std::vector<QPointer<QWidget>> leavingCells_;

    bool layingOut_ = false;

    // A press on a row, and the drag that may follow it.
    std::optional<IndexPath> pressed_;
    QPoint pressPoint_;
    QPointer<QWidget> dragCell_;
    int dragGrabOffset_ = 0;
};

}  // namespace dovrel::ui

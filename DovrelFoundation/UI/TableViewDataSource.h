#pragma once

#include <QPointer>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "platform/foundation/FatalError.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/store/IndexPath.h"
#include "platform/ui/table/TableView.h"
#include "platform/ui/table/TableViewDataSource.h"

namespace dovrel {

using store::IndexPath;

// What a table bound by TableViewDataSource needs from its owner: the record type shown, the
// cell class that shows it, how to fill a cell, and what to do with the user's edits and moves.
template <class ObjectType, class CellType>
class TableViewDataSourceDelegate {
  public:
    using Object = ObjectType;
    using Cell = CellType;

    virtual ~TableViewDataSourceDelegate() = default;

    // Fills a cell for a record.
    virtual void configure(Cell& cell, const std::shared_ptr<Object>& object) = 0;
    // The user finished an edit (the Delete key, the context menu) on a record's row.
    virtual void commit(ui::TableViewCellEditingStyle editingStyle,
                        const std::shared_ptr<Object>& object) = 0;
    // The user moved a row.
    virtual void moveRow(const IndexPath& sourceIndexPath,
                         const IndexPath& destinationIndexPath) = 0;
};

// Binds a fetched-results controller to a table view: answers the table's questions from the
// controller's results, hands edits and moves to the delegate, and replays the controller's
// changes on the table row by row (inserted and deleted rows fade, moved rows slide, updated
// rows on screen are configured again, rows off screen are left alone).
//
// Made by make(), which makes it the controller's delegate, fetches (a failing fetch stops the
// process: the request is the program's own), becomes the table's data source and reloads the
// table. The table and the controller hold it weakly: the caller keeps the returned pointer for
// as long as the table shows the results. It holds its delegate weakly too; a delegate that is
// gone when a cell must be configured, an edit committed or a row moved stops the process.
//
// Main thread only, with a controller on the view context.
template <class Delegate>
class TableViewDataSource final
    : public ui::TableViewDataSource,
      public store::FetchedResultsControllerDelegate,
      public std::enable_shared_from_this<TableViewDataSource<Delegate>> {
  public:
    using Object = typename Delegate::Object;
    using Cell = typename Delegate::Cell;
    using Controller = store::FetchedResultsController<Object>;

    static std::shared_ptr<TableViewDataSource> make(
        ui::TableView* tableView, std::string cellIdentifier,
        std::shared_ptr<Controller> fetchedResultsController, std::weak_ptr<Delegate> delegate) {
        std::shared_ptr<TableViewDataSource> dataSource(
            new TableViewDataSource(tableView, std::move(cellIdentifier),
                                    std::move(fetchedResultsController), std::move(delegate)));
        dataSource->fetchedResultsController_->setDelegate(dataSource);
        try {
            dataSource->fetchedResultsController_->performFetch();
        } catch (const std::exception& error) {
            fatalError(std::string("Failed to perform the fetch: ") + error.what());
        }
        tableView->setDataSource(dataSource);
        tableView->reloadData();
        return dataSource;
    }

    ui::TableView* tableView() const { return tableView_; }
    const std::shared_ptr<Controller>& fetchedResultsController() const {
        return fetchedResultsController_;
    }
    const std::string& cellIdentifier() const { return cellIdentifier_; }

    // The record of the table's selected row, or nothing.
    std::shared_ptr<Object> selectedObject() const {
        const auto indexPath = tableView_ ? tableView_->indexPathForSelectedRow() : std::nullopt;
        return indexPath ? objectAtIndexPath(*indexPath) : nullptr;
    }

    std::shared_ptr<Object> objectAtIndexPath(const IndexPath& indexPath) const {
        return fetchedResultsController_->object(indexPath);
    }

    // Lets `configure` change the controller's request, then fetches again and reloads the
    // table. A failing fetch throws its error and leaves the table as it was.
    void reconfigureFetchRequest(const std::function<void(store::FetchRequestBase&)>& configure) {
        Controller::deleteCache(fetchedResultsController_->cacheName());
        configure(fetchedResultsController_->fetchRequest());
        fetchedResultsController_->performFetch();
        if (tableView_)
            tableView_->reloadData();
    }

    // --- The table's data source

    std::size_t numberOfRowsInSection(ui::TableView&, std::size_t section) override {
        const auto& sections = fetchedResultsController_->sections();
        return section < sections.size() ? sections[section].numberOfObjects() : 0;
    }

    QWidget* cellForRowAt(ui::TableView& tableView, const IndexPath& indexPath) override {
        const auto object = objectAtIndexPath(indexPath);
        QWidget* dequeued = tableView.dequeueReusableCell(cellIdentifier_, indexPath);
        auto* cell = dynamic_cast<Cell*>(dequeued);
        if (cell == nullptr)
            fatalError("Unexpected cell type at " + indexPath.description());
        requireDelegate()->configure(*cell, object);
        return cell;
    }

    void commit(ui::TableView&, ui::TableViewCellEditingStyle editingStyle,
                const IndexPath& indexPath) override {
        const auto object = objectAtIndexPath(indexPath);
        requireDelegate()->commit(editingStyle, object);
    }

    bool canMoveRowAt(ui::TableView&, const IndexPath&) override { return true; }

    void moveRow(ui::TableView&, const IndexPath& from, const IndexPath& to) override {
        if (from == to)
            return;
        requireDelegate()->moveRow(from, to);
    }

    // --- The controller's delegate

    void controllerWillChangeContent(store::FetchedResultsControllerBase&) override {
        if (tableView_)
            tableView_->beginUpdates();
    }

    void controller(store::FetchedResultsControllerBase&,
                    const std::shared_ptr<store::ManagedObject>& object,
                    std::optional<IndexPath> indexPath, store::FetchedResultsChangeType type,
                    std::optional<IndexPath> newIndexPath) override {
        using Type = store::FetchedResultsChangeType;
        switch (type) {
            case Type::insert:
                // The insert's missing new index path keeps the message of the others.
                if (!newIndexPath)
                    fatalError("Index path should be not nil");
                if (tableView_)
                    tableView_->insertRows({*newIndexPath}, ui::TableViewRowAnimation::fade);
                return;
            case Type::delete_:
                if (!indexPath)
                    fatalError("Index path should be not nil");
                if (tableView_)
                    tableView_->deleteRows({*indexPath}, ui::TableViewRowAnimation::fade);
                return;
            case Type::move:
                if (!indexPath)
                    fatalError("Index path should be not nil");
                if (!newIndexPath)
                    fatalError("New index path should be not nil");
                if (tableView_)
                    tableView_->moveRow(*indexPath, *newIndexPath);
                return;
            case Type::update: {
                if (!indexPath)
                    fatalError("Index path should be not nil");
                // A row off screen has no cell: nothing to do. The record at the index path is
                // taken as the table still numbers its rows until the batch ends (the reported
                // record): the controller's own results are already renumbered by the batch's
                // inserts and deletes.
                auto* cell =
                    tableView_ ? dynamic_cast<Cell*>(tableView_->cellForRow(*indexPath)) : nullptr;
                if (cell == nullptr)
                    return;
                auto record = std::dynamic_pointer_cast<Object>(object);
                if (!record)
                    record = objectAtIndexPath(*indexPath);
                requireDelegate()->configure(*cell, record);
                return;
            }
        }
        fatalError("Unexpected behaviour");
    }

    void controllerDidChangeContent(store::FetchedResultsControllerBase&) override {
        if (tableView_)
            tableView_->endUpdates();
    }

  private:
    TableViewDataSource(ui::TableView* tableView, std::string cellIdentifier,
                        std::shared_ptr<Controller> fetchedResultsController,
                        std::weak_ptr<Delegate> delegate)
        : tableView_(tableView),
          fetchedResultsController_(std::move(fetchedResultsController)),
          delegate_(std::move(delegate)),
          cellIdentifier_(std::move(cellIdentifier)) {}

    std::shared_ptr<Delegate> requireDelegate() const {
        auto delegate = delegate_.lock();
        if (!delegate)
            fatalError("The table view data source's delegate is gone");
        return delegate;
    }

    QPointer<ui::TableView> tableView_;
    std::shared_ptr<Controller> fetchedResultsController_;
    std::weak_ptr<Delegate> delegate_;
    std::string cellIdentifier_;
};

}  // namespace dovrel

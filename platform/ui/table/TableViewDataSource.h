#pragma once

#include <cstddef>

#include "platform/store/IndexPath.h"
#include "platform/ui/table/TableViewCellEditingStyle.h"

class QWidget;

namespace dovrel::ui {

class TableView;
using store::IndexPath;

// What a TableView asks about the rows it shows. The table holds its data source weakly and
// calls it on the GUI thread only: counts on reloadData() and at the end of every batch update,
// cellForRowAt whenever a row comes into view.
class TableViewDataSource {
  public:
    virtual ~TableViewDataSource() = default;

    // One section unless overridden.
    virtual std::size_t numberOfSections(TableView& tableView);
    virtual std::size_t numberOfRowsInSection(TableView& tableView, std::size_t section) = 0;
    // The cell that shows the row, normally one from tableView.dequeueReusableCell(). The table
    // owns the cell from then on (a widget made elsewhere is adopted and deleted when it leaves
    // the screen). Never null.
    virtual QWidget* cellForRowAt(TableView& tableView, const IndexPath& indexPath) = 0;

    // The user finished an edit of the row (the Delete key or the context menu's "Delete").
    // Nothing unless overridden.
    virtual void commit(TableView& tableView, TableViewCellEditingStyle editingStyle,
                        const IndexPath& indexPath);
    // Whether the user may drag the row elsewhere; false unless overridden.
    virtual bool canMoveRowAt(TableView& tableView, const IndexPath& indexPath);
    // The user dragged a row from `from` to `to` (both may be equal: a drag that ended where it
    // started). The table has already moved the row; the data source updates its model to match.
    virtual void moveRow(TableView& tableView, const IndexPath& from, const IndexPath& to);
};

}  // namespace dovrel::ui

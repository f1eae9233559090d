#include "platform/ui/table/TableViewDataSource.h"

namespace dovrel::ui {

std::size_t TableViewDataSource::numberOfSections(TableView&) {
    return 1;
}

void TableViewDataSource::commit(TableView&, TableViewCellEditingStyle, const IndexPath&) {}

bool TableViewDataSource::canMoveRowAt(TableView&, const IndexPath&) {
    return false;
}

void TableViewDataSource::moveRow(TableView&, const IndexPath&, const IndexPath&) {}

}  // namespace dovrel::ui

// Selection, editing and dragging rows of a TableView with the mouse and the keyboard.

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>

#include "platform/ui/table/TableView.h"

namespace dovrel::ui {

void TableView::selectRow(std::optional<IndexPath> indexPath) {
    if (indexPath &&
        (indexPath->section >= counts_.size() || indexPath->row() >= counts_[indexPath->section])) {
        indexPath.reset();
    }
    if (selected_) {
        if (QWidget* cell = cellForRow(*selected_)) {
            markSelected(cell, false);
        }
    }
    selected_ = indexPath;
    if (selected_) {
        scrollToRow(*selected_);
        if (QWidget* cell = cellForRow(*selected_)) {
            markSelected(cell, true);
        }
    }
    viewport()->update();
}

void TableView::deselectRow(const IndexPath& indexPath) {
    if (selected_ == indexPath) {
        selectRow(std::nullopt);
    }
}

void TableView::selectByUser(const IndexPath& indexPath) {
    selectRow(indexPath);
    if (selectionHandler_ && selected_) {
        selectionHandler_(*selected_);
    }
}

void TableView::commitDelete(const IndexPath& indexPath) {
    if (auto dataSource = dataSource_.lock()) {
        dataSource->commit(*this, TableViewCellEditingStyle::delete_, indexPath);
    }
}

std::unique_ptr<QMenu> TableView::contextMenuForRow(const IndexPath& indexPath) {
    auto menu = std::make_unique<QMenu>(this);
    QAction* remove = menu->addAction(QStringLiteral("Delete"));
    QPointer<TableView> table(this);
    connect(remove, &QAction::triggered, this, [table, indexPath] {
        if (table) {
            table->commitDelete(indexPath);
        }
    });
    return menu;
}

void TableView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mousePressEvent(event);
        return;
    }
    setFocus(Qt::MouseFocusReason);
    pressed_ = indexPathForRow(event->position().toPoint());
    pressPoint_ = event->position().toPoint();
    if (pressed_) {
        selectByUser(*pressed_);
    }
    event->accept();
}

void TableView::mouseMoveEvent(QMouseEvent* event) {
    if (!pressed_ || !(event->buttons() & Qt::LeftButton)) {
        QAbstractScrollArea::mouseMoveEvent(event);
        return;
    }
    const QPoint point = event->position().toPoint();
    if (!dragCell_) {
        if ((point - pressPoint_).manhattanLength() < QApplication::startDragDistance()) {
            return;
        }
        auto dataSource = dataSource_.lock();
        if (!allowsReordering_ || !dataSource || !dataSource->canMoveRowAt(*this, *pressed_)) {
            return;
        }
        finishAnimations();
        dragCell_ = cellForRow(*pressed_);
        if (!dragCell_) {
            return;
        }
        dragCell_->raise();
        dragGrabOffset_ = pressPoint_.y() - dragCell_->y();
        viewport()->grabMouse();
    }
    // The lifted cell follows the pointer, inside the viewport.
    const int top = std::clamp(point.y() - dragGrabOffset_, -dragCell_->height() / 2,
                               viewport()->height() - dragCell_->height() / 2);
    dragCell_->move(0, top);
    event->accept();
}

void TableView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QAbstractScrollArea::mouseReleaseEvent(event);
        return;
    }
    if (dragCell_) {
        viewport()->releaseMouse();
        endDrag(event->position().toPoint());
    }
    pressed_.reset();
    dragCell_ = nullptr;
    event->accept();
}

IndexPath TableView::dragDestination(int viewportY) const {
    // The row under the pointer, or the nearest end of the table.
    if (auto under = indexPathForRow(QPoint(0, viewportY))) {
        return *under;
    }
    if (viewportY + verticalScrollBar()->value() < 0) {
        return IndexPath{0, 0};
    }
    std::size_t section = counts_.size();
    while (section > 0 && counts_[section - 1] == 0) {
        --section;
    }
    return section == 0 ? IndexPath{0, 0} : IndexPath{section - 1, counts_[section - 1] - 1};
}

void TableView::endDrag(const QPoint& viewportPoint) {
    const IndexPath from = *pressed_;
    const IndexPath to = dragDestination(viewportPoint.y());
    // The table moves the row itself (the cell slides from where it was dropped), then the data
    // source brings its model in line, as after a user's move on the phone.
    if (from != to) {
        TableUpdateBatch batch;
        batch.moveRow(from, to);
        std::vector<std::size_t> newCounts = counts_;
        --newCounts[from.section];
        ++newCounts[to.section];
        applyBatch(batch, newCounts, {}, {});
    } else {
        layoutCells();
    }
    if (auto dataSource = dataSource_.lock()) {
        dataSource->moveRow(*this, from, to);
    }
}

void TableView::keyPressEvent(QKeyEvent* event) {
    const std::size_t total = totalRows();
    switch (event->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down: {
            if (total == 0) {
                break;
            }
            std::size_t flat = 0;
            if (selected_) {
                flat = flatIndex(*selected_);
                if (event->key() == Qt::Key_Up) {
                    flat = flat == 0 ? 0 : flat - 1;
                } else {
                    flat = std::min(flat + 1, total - 1);
                }
            } else if (event->key() == Qt::Key_Up) {
                flat = total - 1;
            }
            selectByUser(indexPathAtFlat(flat));
            event->accept();
            return;
        }
        case Qt::Key_Delete:
        case Qt::Key_Backspace:
            if (selected_) {
                commitDelete(*selected_);
                event->accept();
                return;
            }
            break;
        default:
            break;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void TableView::contextMenuEvent(QContextMenuEvent* event) {
    const auto indexPath = indexPathForRow(event->pos());
    if (!indexPath) {
        event->ignore();
        return;
    }
    selectByUser(*indexPath);
    auto menu = contextMenuForRow(*indexPath);
    menu->exec(event->globalPos());
    event->accept();
}

}  // namespace dovrel::ui

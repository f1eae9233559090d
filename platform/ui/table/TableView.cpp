#include "platform/ui/table/TableView.h"

#include <QGraphicsEffect>
#include <QPainter>
#include <QParallelAnimationGroup>
#include <QResizeEvent>
#include <QScrollBar>
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "platform/foundation/FatalError.h"

namespace dovrel::ui {
namespace {

// The property that marks a cell made from a registered factory with its reuse identifier.
constexpr const char* kReuseIdentifierProperty = "reuseIdentifier";

std::optional<bool>& animationsOverride() {
    static std::optional<bool> value;
    return value;
}

}  // namespace

TableView::TableView(QWidget* parent) : QAbstractScrollArea(parent) {
    setFocusPolicy(Qt::StrongFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    viewport()->setAutoFillBackground(true);
}

TableView::~TableView() = default;

bool TableView::animationsEnabled() {
    if (animationsOverride()) {
        return *animationsOverride();
    }
    const char* setting = std::getenv("DOVREL_TABLE_ANIMATIONS");
    return setting == nullptr || std::strcmp(setting, "0") != 0;
}

void TableView::setAnimationsEnabled(std::optional<bool> enabled) {
    animationsOverride() = enabled;
}

void TableView::registerCell(const std::string& identifier, CellFactory factory) {
    factories_[identifier] = std::move(factory);
}

QWidget* TableView::dequeueReusableCell(const std::string& identifier, const IndexPath&) {
    const auto factory = factories_.find(identifier);
    if (factory == factories_.end() || !factory->second) {
        fatalError("unable to dequeue a cell with identifier " + identifier +
                   " - must register a factory for the identifier");
    }
    auto& pooled = pool_[identifier];
    while (!pooled.empty()) {
        QPointer<QWidget> cell = pooled.back();
        pooled.pop_back();
        if (cell) {
            return cell;
        }
    }
    QWidget* cell = factory->second();
    if (cell == nullptr) {
        fatalError("the cell factory for identifier " + identifier + " made no cell");
    }
    cell->setParent(viewport());
    cell->hide();
    cell->setProperty(kReuseIdentifierProperty, QString::fromStdString(identifier));
    return cell;
}

void TableView::reloadData() {
    finishAnimations();
    for (auto& [indexPath, cell] : visible_) {
        recycle(cell);
    }
    visible_.clear();
    counts_.clear();
    heights_.clear();
    if (auto dataSource = dataSource_.lock()) {
        const std::size_t sections = dataSource->numberOfSections(*this);
        for (std::size_t section = 0; section < sections; ++section) {
            counts_.push_back(dataSource->numberOfRowsInSection(*this, section));
            heights_.emplace_back(counts_.back(), -1);
        }
    }
    selected_.reset();
    geometryDirty_ = true;
    layoutCells();
    viewport()->update();
}

std::size_t TableView::numberOfRows(std::size_t section) const {
    return section < counts_.size() ? counts_[section] : 0;
}

QWidget* TableView::cellForRow(const IndexPath& indexPath) const {
    const auto found = visible_.find(indexPath);
    return found == visible_.end() ? nullptr : found->second;
}

std::vector<IndexPath> TableView::indexPathsForVisibleRows() const {
    std::vector<IndexPath> paths;
    for (const auto& [indexPath, cell] : visible_) {
        paths.push_back(indexPath);
    }
    return paths;
}

std::vector<QWidget*> TableView::visibleCells() const {
    std::vector<QWidget*> cells;
    for (const auto& [indexPath, cell] : visible_) {
        cells.push_back(cell);
    }
    return cells;
}

std::optional<IndexPath> TableView::indexPathForCell(const QWidget* cell) const {
    for (const auto& [indexPath, visibleCell] : visible_) {
        if (visibleCell == cell) {
            return indexPath;
        }
    }
    return std::nullopt;
}

std::optional<IndexPath> TableView::indexPathForRow(const QPoint& viewportPoint) const {
    ensureGeometry();
    const int y = viewportPoint.y() + verticalScrollBar()->value();
    if (y < 0 || y >= contentHeight() || totalRows() == 0) {
        return std::nullopt;
    }
    // The last row whose top is at or above y.
    const auto after = std::upper_bound(tops_.begin(), tops_.end() - 1, y);
    const auto flat = static_cast<std::size_t>(after - tops_.begin()) - 1;
    return indexPathAtFlat(flat);
}

QRect TableView::rectForRow(const IndexPath& indexPath) const {
    return QRect(0, rowTop(indexPath) - verticalScrollBar()->value(), viewport()->width(),
                 heightOfRow(indexPath));
}

void TableView::scrollToRow(const IndexPath& indexPath) {
    if (indexPath.section >= counts_.size() || indexPath.row() >= counts_[indexPath.section]) {
        return;
    }
    const int top = rowTop(indexPath);
    const int bottom = top + heightOfRow(indexPath);
    const int scroll = verticalScrollBar()->value();
    if (top < scroll) {
        verticalScrollBar()->setValue(top);
    } else if (bottom > scroll + viewport()->height()) {
        verticalScrollBar()->setValue(bottom - viewport()->height());
    }
}

void TableView::setRowHeight(int height) {
    rowHeight_ = height < 0 ? automaticDimension : std::max(height, 1);
    geometryDirty_ = true;
    finishAnimations();
    layoutCells();
}

void TableView::setEstimatedRowHeight(int height) {
    estimatedRowHeight_ = std::max(height, 1);
    geometryDirty_ = true;
    finishAnimations();
    layoutCells();
}

QSize TableView::sizeHint() const {
    return QSize(320, 480);
}

void TableView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    finishAnimations();
    if (rowHeight_ == automaticDimension && event->oldSize().width() != event->size().width()) {
        // Heights that depend on the width are measured again as cells come into view.
        for (auto& section : heights_) {
            std::fill(section.begin(), section.end(), -1);
        }
        geometryDirty_ = true;
    }
    layoutCells();
}

void TableView::scrollContentsBy(int, int) {
    if (layingOut_) {
        return;
    }
    finishAnimations();
    layoutCells();
    viewport()->update();
}

void TableView::paintEvent(QPaintEvent*) {
    QPainter painter(viewport());
    if (selected_) {
        painter.fillRect(rectForRow(*selected_), palette().brush(QPalette::Highlight));
    }
}

// ---- rows and geometry ----

std::size_t TableView::totalRows() const {
    std::size_t total = 0;
    for (const auto count : counts_) {
        total += count;
    }
    return total;
}

std::size_t TableView::flatIndex(const IndexPath& indexPath) const {
    std::size_t flat = 0;
    for (std::size_t section = 0; section < indexPath.section && section < counts_.size();
         ++section) {
        flat += counts_[section];
    }
    return flat + indexPath.row();
}

IndexPath TableView::indexPathAtFlat(std::size_t flat) const {
    for (std::size_t section = 0; section < counts_.size(); ++section) {
        if (flat < counts_[section]) {
            return IndexPath{section, flat};
        }
        flat -= counts_[section];
    }
    return IndexPath{counts_.size(), 0};
}

int TableView::heightOfRow(const IndexPath& indexPath) const {
    if (rowHeight_ != automaticDimension) {
        return rowHeight_;
    }
    if (indexPath.section < heights_.size() &&
        indexPath.row() < heights_[indexPath.section].size()) {
        const int measured = heights_[indexPath.section][indexPath.row()];
        if (measured > 0) {
            return measured;
        }
    }
    return estimatedRowHeight_;
}

void TableView::ensureGeometry() const {
    if (!geometryDirty_) {
        return;
    }
    tops_.assign(1, 0);
    for (std::size_t section = 0; section < counts_.size(); ++section) {
        for (std::size_t row = 0; row < counts_[section]; ++row) {
            tops_.push_back(tops_.back() + heightOfRow(IndexPath{section, row}));
        }
    }
    geometryDirty_ = false;
}

int TableView::rowTop(const IndexPath& indexPath) const {
    ensureGeometry();
    const auto flat = std::min(flatIndex(indexPath), tops_.size() - 1);
    return tops_[flat];
}

int TableView::contentHeight() const {
    ensureGeometry();
    return tops_.back();
}

void TableView::updateScrollBars() {
    const int page = viewport()->height();
    verticalScrollBar()->setPageStep(page);
    verticalScrollBar()->setSingleStep(rowHeight_ == automaticDimension ? estimatedRowHeight_
                                                                        : rowHeight_);
    verticalScrollBar()->setRange(0, std::max(0, contentHeight() - page));
}

void TableView::layoutCells(Transition* transition) {
    if (layingOut_) {
        return;
    }
    layingOut_ = true;
    // Measuring cells can change the heights and so which rows are in view: a few passes
    // settle it (each pass only measures rows that were never measured).
    for (int pass = 0; pass < 4; ++pass) {
        ensureGeometry();
        updateScrollBars();
        const int scroll = verticalScrollBar()->value();
        const int viewportHeight = viewport()->height();
        const std::size_t total = totalRows();

        // The rows that intersect [scroll, scroll + height).
        std::size_t first = total;
        std::size_t last = total;
        if (total > 0 && viewportHeight > 0) {
            const auto firstAfter = std::upper_bound(tops_.begin(), tops_.end() - 1, scroll);
            first = static_cast<std::size_t>(firstAfter - tops_.begin());
            first = first == 0 ? 0 : first - 1;
            const auto lastAfter =
                std::lower_bound(tops_.begin(), tops_.end() - 1, scroll + viewportHeight);
            last = static_cast<std::size_t>(lastAfter - tops_.begin());
        }

        // Cells of rows out of view go first, so that the new rows can reuse them.
        for (auto it = visible_.begin(); it != visible_.end();) {
            const std::size_t flat = flatIndex(it->first);
            if (flat >= first && flat < last) {
                ++it;
                continue;
            }
            if (transition != nullptr) {
                transition->departing.emplace_back(it->second, it->first);
            } else {
                recycle(it->second);
            }
            it = visible_.erase(it);
        }

        bool measuredNew = false;
        for (std::size_t flat = first; flat < last; ++flat) {
            const IndexPath indexPath = indexPathAtFlat(flat);
            QWidget*& cell = visible_[indexPath];
            if (cell == nullptr) {
                cell = makeCell(indexPath);
                if (cell == nullptr) {
                    visible_.erase(indexPath);
                    continue;
                }
                if (transition != nullptr) {
                    transition->created.push_back(cell);
                }
                if (rowHeight_ == automaticDimension &&
                    heights_[indexPath.section][indexPath.row()] < 0) {
                    measure(cell, indexPath);
                    measuredNew = true;
                }
            }
        }
        for (auto& [indexPath, cell] : visible_) {
            cell->setGeometry(QRect(0, tops_[flatIndex(indexPath)] - scroll, viewport()->width(),
                                    heightOfRow(indexPath)));
            markSelected(cell, selected_ == indexPath);
            cell->show();
        }
        if (!measuredNew || !geometryDirty_) {
            break;
        }
    }
    layingOut_ = false;
}

QWidget* TableView::makeCell(const IndexPath& indexPath) {
    auto dataSource = dataSource_.lock();
    if (!dataSource) {
        return nullptr;
    }
    QWidget* cell = dataSource->cellForRowAt(*this, indexPath);
    if (cell == nullptr) {
        fatalError("the data source returned no cell for the row at " + indexPath.description());
    }
    if (cell->parentWidget() != viewport()) {
        cell->setParent(viewport());
    }
    return cell;
}

void TableView::measure(QWidget* cell, const IndexPath& indexPath) {
    const int width = viewport()->width();
    int height =
        cell->hasHeightForWidth() ? cell->heightForWidth(width) : cell->sizeHint().height();
    if (height <= 0) {
        height = estimatedRowHeight_;
    }
    heights_[indexPath.section][indexPath.row()] = height;
    geometryDirty_ = true;
}

void TableView::recycle(QWidget* cell) {
    if (cell == nullptr) {
        return;
    }
    cell->hide();
    cell->setGraphicsEffect(nullptr);
    markSelected(cell, false);
    const QVariant identifier = cell->property(kReuseIdentifierProperty);
    if (identifier.isValid()) {
        pool_[identifier.toString().toStdString()].emplace_back(cell);
    } else {
        // Not made from a factory: nobody can ask for it again.
        cell->deleteLater();
    }
}

void TableView::markSelected(QWidget* cell, bool selected) {
    if (cell->property("selected").toBool() != selected) {
        cell->setProperty("selected", selected);
    }
}

}  // namespace dovrel::ui

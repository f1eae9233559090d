// Batch updates of a TableView and the animations that show them.

#include <QGraphicsOpacityEffect>
#include <QParallelAnimationGroup>
#include <QPropertyAnimation>
#include <QScrollBar>
#include <set>

#include "platform/ui/table/TableView.h"

namespace dovrel::ui {
namespace {

bool fades(TableViewRowAnimation animation) {
    return animation != TableViewRowAnimation::none;
}

}  // namespace

void TableView::beginUpdates() {
    ++updateDepth_;
}

void TableView::endUpdates() {
    if (updateDepth_ == 0) {
        return;
    }
    if (--updateDepth_ > 0) {
        return;
    }
    const TableUpdateBatch batch = std::exchange(pending_, {});
    const auto deleteAnimations = std::exchange(pendingDeleteAnimations_, {});
    const auto insertAnimations = std::exchange(pendingInsertAnimations_, {});
    std::vector<std::size_t> newCounts;
    if (auto dataSource = dataSource_.lock()) {
        const std::size_t sections = dataSource->numberOfSections(*this);
        for (std::size_t section = 0; section < sections; ++section) {
            newCounts.push_back(dataSource->numberOfRowsInSection(*this, section));
        }
    } else {
        // Nothing to show any more: no batch can describe that, so the table simply empties.
        reloadData();
        return;
    }
    applyBatch(batch, newCounts, deleteAnimations, insertAnimations);
}

void TableView::insertRows(const std::vector<IndexPath>& indexPaths,
                           TableViewRowAnimation animation) {
    beginUpdates();
    pending_.insertRows(indexPaths);
    for (const auto& indexPath : indexPaths) {
        pendingInsertAnimations_[indexPath] = animation;
    }
    endUpdates();
}

void TableView::deleteRows(const std::vector<IndexPath>& indexPaths,
                           TableViewRowAnimation animation) {
    beginUpdates();
    pending_.deleteRows(indexPaths);
    for (const auto& indexPath : indexPaths) {
        pendingDeleteAnimations_[indexPath] = animation;
    }
    endUpdates();
}

void TableView::reloadRows(const std::vector<IndexPath>& indexPaths,
                           TableViewRowAnimation animation) {
    beginUpdates();
    pending_.reloadRows(indexPaths);
    for (const auto& indexPath : indexPaths) {
        // The old content fades out where the new content fades in.
        pendingDeleteAnimations_[indexPath] = animation;
    }
    endUpdates();
}

void TableView::moveRow(const IndexPath& from, const IndexPath& to) {
    beginUpdates();
    pending_.moveRow(from, to);
    endUpdates();
}

void TableView::applyBatch(const TableUpdateBatch& batch, const std::vector<std::size_t>& newCounts,
                           const std::map<IndexPath, TableViewRowAnimation>& deleteAnimations,
                           const std::map<IndexPath, TableViewRowAnimation>& insertAnimations) {
    finishAnimations();
    const std::vector<std::size_t> oldCounts = counts_;
    // Stops the process when the batch does not match the counts.
    const auto arrangement = batch.apply(oldCounts, newCounts);
    const auto oldToNew = TableUpdateBatch::oldToNew(arrangement, oldCounts);

    // Where every old row was on screen, for the slides.
    ensureGeometry();
    const std::vector<int> oldTops = tops_;
    const int oldScroll = verticalScrollBar()->value();
    auto oldRowY = [&](const IndexPath& old) {
        std::size_t flat = 0;
        for (std::size_t section = 0; section < old.section; ++section) {
            flat += oldCounts[section];
        }
        return oldTops[flat + old.row()] - oldScroll;
    };

    // The rows' heights and the selection follow their rows.
    std::vector<std::vector<int>> newHeights(newCounts.size());
    for (std::size_t section = 0; section < newCounts.size(); ++section) {
        newHeights[section].assign(newCounts[section], -1);
        for (std::size_t row = 0; row < newCounts[section]; ++row) {
            const auto& origin = arrangement[section][row];
            if (origin.oldIndexPath && !origin.reloaded) {
                newHeights[section][row] =
                    heights_[origin.oldIndexPath->section][origin.oldIndexPath->row()];
            }
        }
    }
    if (selected_) {
        selected_ = oldToNew[selected_->section][selected_->row()];
    }

    // The cells on screen go with their rows; cells of deleted and reloaded rows leave.
    const bool animate = animationsEnabled() && isVisible();
    std::vector<QWidget*> fadeOuts;
    std::map<QWidget*, QPoint> startPoints;
    std::map<IndexPath, QWidget*> kept;
    for (const auto& [old, cell] : visible_) {
        const auto& destination = oldToNew[old.section][old.row()];
        const auto animation = deleteAnimations.find(old);
        const bool reloaded =
            destination && arrangement[destination->section][destination->row()].reloaded;
        if (!destination || reloaded) {
            if (animate && (animation == deleteAnimations.end() || fades(animation->second))) {
                // Fades out where it is, above the rows that take its place.
                cell->raise();
                fadeOuts.push_back(cell);
            } else {
                recycle(cell);
            }
            continue;
        }
        kept[*destination] = cell;
        startPoints[cell] = cell->pos();
    }
    visible_ = std::move(kept);
    counts_ = newCounts;
    heights_ = std::move(newHeights);
    geometryDirty_ = true;

    Transition transition;
    layoutCells(animate ? &transition : nullptr);
    viewport()->update();
    if (!animate) {
        return;
    }

    // New cells: inserted and reloaded rows fade in; old rows that came into view slide in from
    // where they were. Cells that stay slide from where they were. Cells that leave the screen
    // slide to their new place and are put away.
    const int scroll = verticalScrollBar()->value();
    std::vector<std::pair<QWidget*, QPoint>> slides;
    std::vector<QWidget*> fadeIns;
    const std::set<QWidget*> created(transition.created.begin(), transition.created.end());
    for (const auto& [indexPath, cell] : visible_) {
        const auto& origin = arrangement[indexPath.section][indexPath.row()];
        if (created.contains(cell)) {
            if (origin.kind == TableUpdateBatch::Origin::Kind::inserted || origin.reloaded) {
                const auto animation = insertAnimations.find(indexPath);
                if (origin.reloaded || animation == insertAnimations.end() ||
                    fades(animation->second)) {
                    fadeIns.push_back(cell);
                }
            } else if (origin.oldIndexPath) {
                slides.emplace_back(cell, QPoint(0, oldRowY(*origin.oldIndexPath)));
            }
            continue;
        }
        const auto start = startPoints.find(cell);
        if (start != startPoints.end() && start->second != cell->pos()) {
            slides.emplace_back(cell, start->second);
        }
    }
    for (const auto& [cell, indexPath] : transition.departing) {
        const QPoint start = cell->pos();
        cell->move(0, rowTop(indexPath) - scroll);
        slides.emplace_back(cell, start);
        leavingCells_.emplace_back(cell);
    }
    for (QWidget* cell : fadeOuts) {
        leavingCells_.emplace_back(cell);
    }
    startAnimations(std::move(slides), std::move(fadeIns), std::move(fadeOuts));
}

void TableView::startAnimations(std::vector<std::pair<QWidget*, QPoint>> slides,
                                std::vector<QWidget*> fadeIns, std::vector<QWidget*> fadeOuts) {
    if (slides.empty() && fadeIns.empty() && fadeOuts.empty()) {
        completeAnimations();
        return;
    }
    animations_ = new QParallelAnimationGroup(this);
    for (const auto& [cell, start] : slides) {
        auto* slide = new QPropertyAnimation(cell, "pos");
        slide->setDuration(kAnimationDuration);
        slide->setStartValue(start);
        slide->setEndValue(cell->pos());
        slide->setEasingCurve(QEasingCurve::InOutQuad);
        animations_->addAnimation(slide);
        animatedCells_.emplace_back(cell);
    }
    auto fade = [this](QWidget* cell, double from, double to) {
        auto* effect = new QGraphicsOpacityEffect(cell);
        effect->setOpacity(from);
        cell->setGraphicsEffect(effect);
        auto* animation = new QPropertyAnimation(effect, "opacity");
        animation->setDuration(kAnimationDuration);
        animation->setStartValue(from);
        animation->setEndValue(to);
        animations_->addAnimation(animation);
        animatedCells_.emplace_back(cell);
    };
    for (QWidget* cell : fadeIns) {
        fade(cell, 0.0, 1.0);
    }
    for (QWidget* cell : fadeOuts) {
        fade(cell, 1.0, 0.0);
    }
    connect(animations_, &QAbstractAnimation::finished, this, [this] { completeAnimations(); });
    animations_->start();
}

void TableView::finishAnimations() {
    if (animations_ == nullptr) {
        return;
    }
    animations_->stop();
    completeAnimations();
}

void TableView::completeAnimations() {
    if (animations_ != nullptr) {
        // This may run inside the group's own finished signal: let it go later.
        animations_->deleteLater();
        animations_ = nullptr;
    }
    for (auto& cell : std::exchange(animatedCells_, {})) {
        if (cell) {
            cell->setGraphicsEffect(nullptr);
        }
    }
    for (auto& cell : std::exchange(leavingCells_, {})) {
        if (cell) {
            recycle(cell);
        }
    }
    // Every cell exactly where the layout wants it.
    layoutCells();
    viewport()->update();
}

}  // namespace dovrel::ui

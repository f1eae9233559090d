#pragma once

#include <QPointer>
#include <QRect>
#include <QSize>
#include <QWidget>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "platform/ui/detail/ConstraintData.h"
#include "platform/ui/solver/PointerMap.h"
#include "platform/ui/solver/Solver.h"

namespace dovrel::ui::detail {

class ViewData;

// Solves the active constraints inside one root widget.
//
// In window mode the root is a window: every constraint among its widgets is solved in window
// coordinates, the root's size is a strong (999) edit of its current size, and the views that
// do not translate their geometry into constraints are placed. The engine keeps its solver
// between layouts: a changed constant, a deactivated constraint, a resized window, a moved
// translated view or a changed intrinsic size costs a few pivots; an activation, a reparenting
// or a direction change rebuilds the solver at the next layout.
//
// In fitting mode the root is any widget: the constraints wholly inside its subtree are solved
// with its size pulled toward zero at priority 50, which gives the smallest size that keeps the
// other preferences (what a phone calls the compressed fitting size). Nothing is placed.
class LayoutEngine {
  public:
    enum class Mode { window, fitting };

    LayoutEngine(QWidget* root, Mode mode);
    ~LayoutEngine();
    LayoutEngine(const LayoutEngine&) = delete;
    LayoutEngine& operator=(const LayoutEngine&) = delete;

    // Window mode: brings the solver up to date, solves and places the views.
    void layout();
    // Fitting mode: the fitting size of the root.
    QSize fittingSize();

    // Incremental changes of a constraint this engine holds.
    void constantChanged(ConstraintData& constraint);
    void priorityChanged(ConstraintData& constraint);
    void deactivated(ConstraintData& constraint);
    // Adds a newly active constraint when all its items are already laid out here; false when
    // the engine must rebuild instead.
    bool activatedIncrementally(const std::shared_ptr<ConstraintData>& constraint);

    // Whether any window engine is placing views right now (placement resizes widgets, whose
    // layouts must not start another layout).
    static bool isPlacing();

  private:
    struct Participant {
        QPointer<QWidget> widget;
        ViewData* data = nullptr;
        bool translates = true;
        // A translated view's frame, relative to its nearest participating ancestor.
        int anchorIndex = -1;
        QRect frame;
        std::optional<solver::Constraint> frameConstraints[4];
        // A placed view's intrinsic size and its hugging and compression constraints.
        QSize intrinsic{-1, -1};
        std::optional<solver::Constraint> hugging[2];
        std::optional<solver::Constraint> compression[2];
    };

    void rebuild();
    void refresh();
    void place();
    bool isInside(const QWidget* widget) const;
    int participantIndex(const QWidget* widget) const;
    QRect translatedFrame(const Participant& participant) const;
    bool install(const std::shared_ptr<ConstraintData>& constraint);
    void addIntrinsic(Participant& participant);
    void addTranslated(Participant& participant);
    void clearInstalled();

    QPointer<QWidget> root_;
    Mode mode_;
    solver::Solver solver_;
    std::vector<Participant> participants_;
    solver::PointerMap<int> indices_;
    std::vector<std::shared_ptr<ConstraintData>> installed_;
    // Constraints installed here in fitting mode (window mode keeps them in the constraint).
    std::unordered_map<const ConstraintData*, solver::Constraint> fittingInstalled_;
    unsigned long long builtStructure_ = 0;
    unsigned long long builtIntrinsic_ = 0;
    bool built_ = false;
    QSize rootSize_{-1, -1};
};

}  // namespace dovrel::ui::detail

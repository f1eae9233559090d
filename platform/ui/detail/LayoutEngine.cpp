#include "platform/ui/detail/LayoutEngine.h"

#include <QtGlobal>
#include <algorithm>
#include <cmath>

#include "platform/ui/View.h"
#include "platform/ui/detail/ViewData.h"

namespace dovrel::ui::detail {

namespace {

using solver::Constraint;
using solver::Expression;
using solver::Relation;
using solver::SolverError;
using solver::Term;

int placingDepth = 0;

// A strong preference for the window's own size: required constraints that do not fit inside it
// still win, as a window's content grows its minimum size.
constexpr LayoutPriority kRootSizePriority = kLayoutPriorityRequired - 1;

Relation solverRelation(int relation) {
    return relation < 0 ? Relation::lessThanOrEqual
                        : (relation > 0 ? Relation::greaterThanOrEqual : Relation::equal);
}

bool isDirectional(LayoutAttribute attribute) {
    return attribute == LayoutAttribute::leading || attribute == LayoutAttribute::trailing;
}

bool isHorizontal(LayoutAttribute attribute) {
    switch (attribute) {
        case LayoutAttribute::left:
        case LayoutAttribute::right:
        case LayoutAttribute::leading:
        case LayoutAttribute::trailing:
        case LayoutAttribute::centerX:
            return true;
        default:
            return false;
    }
}

// A leading or trailing anchor of a right-to-left item measures its positions leftward, and
// so does every horizontal anchor it is related to: `a.leading == b.leading + 8` keeps a 8
// points to the left of b's right edge.
bool isFlipped(const ConstraintData& constraint) {
    const auto flips = [](const AnchorData& anchor) {
        return isDirectional(anchor.attribute) && anchor.item.isRightToLeft();
    };
    return flips(constraint.first) || (constraint.second && flips(*constraint.second));
}

bool hostIsAlive(const AnchorData& anchor) {
    return anchor.item.hostWidget() != nullptr;
}

void warnUnsatisfiable(const ConstraintData& constraint, const SolverError& error) {
    qWarning("Unable to simultaneously satisfy constraints: leaving out the constraint %s (%s)",
             constraint.identifier.empty() ? "without identifier" : constraint.identifier.c_str(),
             error.what());
}

// Appends `factor` times the expression of an anchor, in window coordinates, to `terms`.
// `flipped` gives a horizontal anchor its right-to-left form (positions measured leftward).
void appendAnchorTerms(const AnchorData& anchor, bool flipped, double factor,
                       std::vector<Term>& terms) {
    const ItemVariables& v = anchor.item.variables();
    const auto add = [&](const solver::Variable& variable, double coefficient) {
        terms.push_back(Term{variable, factor * coefficient});
    };
    // The right-to-left leading edge is the right edge, measured leftward: -(left + width).
    const double sign = flipped ? -1.0 : 1.0;
    switch (anchor.attribute) {
        case LayoutAttribute::left:
            add(v.left, 1.0);
            break;
        case LayoutAttribute::right:
            add(v.left, 1.0);
            add(v.width, 1.0);
            break;
        case LayoutAttribute::leading:
            add(v.left, sign);
            if (flipped)
                add(v.width, -1.0);
            break;
        case LayoutAttribute::trailing:
            add(v.left, sign);
            if (!flipped)
                add(v.width, 1.0);
            break;
        case LayoutAttribute::centerX:
            add(v.left, sign);
            add(v.width, 0.5 * sign);
            break;
        case LayoutAttribute::top:
            add(v.top, 1.0);
            break;
        case LayoutAttribute::bottom:
            add(v.top, 1.0);
            add(v.height, 1.0);
            break;
        case LayoutAttribute::centerY:
            add(v.top, 1.0);
            add(v.height, 0.5);
            break;
        case LayoutAttribute::width:
            add(v.width, 1.0);
            break;
        case LayoutAttribute::height:
            add(v.height, 1.0);
            break;
    }
}

// `first - (second * multiplier + constant) relation 0`, built in one vector of terms.
Constraint makeSolverConstraint(const ConstraintData& constraint) {
    const bool flipped = isFlipped(constraint);
    // Left and right keep their meaning in a flipped constraint; only directional anchors and
    // centres measure leftward.
    const auto flips = [flipped](const AnchorData& anchor) {
        return flipped && anchor.attribute != LayoutAttribute::left &&
               anchor.attribute != LayoutAttribute::right && isHorizontal(anchor.attribute);
    };
    Expression difference(-constraint.constant);
    difference.terms.reserve(4);
    appendAnchorTerms(constraint.first, flips(constraint.first), 1.0, difference.terms);
    if (constraint.second) {
        appendAnchorTerms(*constraint.second, flips(*constraint.second), -constraint.multiplier,
                          difference.terms);
    }
    return Constraint::fromDifference(std::move(difference), solverRelation(constraint.relation),
                                      constraint.priority);
}

}  // namespace

LayoutEngine::LayoutEngine(QWidget* root, Mode mode) : root_(root), mode_(mode) {}

LayoutEngine::~LayoutEngine() {
    clearInstalled();
}

bool LayoutEngine::isPlacing() {
    return placingDepth > 0;
}

void LayoutEngine::clearInstalled() {
    if (mode_ == Mode::window) {
        for (const auto& constraint : installed_) {
            if (constraint->engine == this) {
                constraint->engine = nullptr;
                constraint->installed.reset();
            }
        }
    }
    installed_.clear();
    fittingInstalled_.clear();
}

bool LayoutEngine::isInside(const QWidget* widget) const {
    return widget != nullptr && (widget == root_ || root_->isAncestorOf(widget));
}

int LayoutEngine::participantIndex(const QWidget* widget) const {
    const int* found = indices_.find(widget);
    return found == nullptr ? -1 : *found;
}

QRect LayoutEngine::translatedFrame(const Participant& participant) const {
    const QWidget* anchor = participants_[participant.anchorIndex].widget;
    const QPoint origin = participant.widget->mapTo(anchor, QPoint(0, 0));
    return QRect(origin, participant.widget->size());
}

void LayoutEngine::addTranslated(Participant& participant) {
    // Relative to the nearest participating ancestor, as a phone's autoresizing mask is relative
    // to the superview; the root is always one.
    int anchorIndex = 0;
    for (QWidget* parent = participant.widget->parentWidget(); parent && parent != root_;
         parent = parent->parentWidget()) {
        if (const int index = participantIndex(parent); index >= 0) {
            anchorIndex = index;
            break;
        }
    }
    participant.anchorIndex = anchorIndex;
    participant.frame = translatedFrame(participant);
    const ItemVariables& v = participant.data->variables;
    const ItemVariables& a = participants_[anchorIndex].data->variables;
    const QRect& f = participant.frame;
    participant.frameConstraints[0] = Constraint(Expression(v.left) - Expression(a.left),
                                                 Relation::equal, Expression(double(f.x())));
    participant.frameConstraints[1] = Constraint(Expression(v.top) - Expression(a.top),
                                                 Relation::equal, Expression(double(f.y())));
    participant.frameConstraints[2] =
        Constraint(Expression(v.width), Relation::equal, Expression(double(f.width())));
    participant.frameConstraints[3] =
        Constraint(Expression(v.height), Relation::equal, Expression(double(f.height())));
    for (auto& constraint : participant.frameConstraints) {
        solver_.addConstraint(*constraint);
    }
}

void LayoutEngine::addIntrinsic(Participant& participant) {
    participant.intrinsic = View(participant.widget).intrinsicContentSize();
    const ItemVariables& v = participant.data->variables;
    const int sizes[2] = {participant.intrinsic.width(), participant.intrinsic.height()};
    const solver::Variable* variables[2] = {&v.width, &v.height};
    for (int axis = 0; axis < 2; ++axis) {
        participant.hugging[axis].reset();
        participant.compression[axis].reset();
        if (sizes[axis] < 0) {
            continue;
        }
        participant.hugging[axis] =
            Constraint(Expression(*variables[axis]), Relation::lessThanOrEqual,
                       Expression(double(sizes[axis])), participant.data->hugging[axis]);
        participant.compression[axis] =
            Constraint(Expression(*variables[axis]), Relation::greaterThanOrEqual,
                       Expression(double(sizes[axis])), participant.data->compression[axis]);
        for (auto* constraint : {&participant.hugging[axis], &participant.compression[axis]}) {
            try {
                solver_.addConstraint(**constraint);
            } catch (const SolverError&) {
                constraint->reset();  // a required intrinsic size that cannot fit
            }
        }
    }
}

bool LayoutEngine::install(const std::shared_ptr<ConstraintData>& constraint) {
    try {
        Constraint solverConstraint = makeSolverConstraint(*constraint);
        solver_.addConstraint(solverConstraint);
        installed_.push_back(constraint);
        if (mode_ == Mode::window) {
            constraint->engine = this;
            constraint->installed = std::move(solverConstraint);
        } else {
            fittingInstalled_.emplace(constraint.get(), std::move(solverConstraint));
        }
        return true;
    } catch (const SolverError& error) {
        warnUnsatisfiable(*constraint, error);
        return false;
    }
}

void LayoutEngine::rebuild() {
    clearInstalled();
    solver_.reset();
    participants_.clear();
    indices_.clear();
    builtStructure_ = structureGeneration();
    builtIntrinsic_ = intrinsicGeneration();
    built_ = true;

    // Every constraint named by a view of the subtree, once, in a stable order.
    static unsigned long long builds = 0;
    const unsigned long long build = ++builds;
    std::vector<std::shared_ptr<ConstraintData>> constraints;
    const auto collect = [&](ViewData* data) {
        for (const auto& constraint : data->constraints) {
            if (constraint->active && constraint->collectedInBuild != build) {
                constraint->collectedInBuild = build;
                constraints.push_back(constraint);
            }
        }
    };
    // The views inside the root's window are stamped with this build, so that the anchors of
    // the constraints are checked below by their attachments instead of each walking up the
    // widget tree. (Nothing below the check can start another build before it is done.)
    ViewData& rootData = ViewData::of(root_);
    rootData.insideBuild = build;
    collect(&rootData);
    const QList<ViewData*> descendants = root_->findChildren<ViewData*>();
    for (ViewData* data : descendants) {
        if (isInside(data->widget())) {
            data->insideBuild = build;
            collect(data);
        }
    }

    // The participants: the root first, then every view a usable constraint names.
    const auto addParticipant = [&](QWidget* widget, ViewData& data) {
        if (indices_.contains(widget)) {
            return;
        }
        Participant participant;
        participant.widget = widget;
        participant.data = &data;
        participant.translates = widget == root_ || data.translates;
        indices_[widget] = int(participants_.size());
        participants_.push_back(std::move(participant));
    };
    participants_.reserve(descendants.size() + 1);
    indices_.reserve(descendants.size() + 1);
    addParticipant(root_, rootData);
    // An anchor is usable when its item's host is alive and inside the window.
    const auto isUsable = [build](const AnchorData& anchor) {
        const ViewData* data = anchor.item.hostData();
        return data != nullptr && data->insideBuild == build;
    };
    // The usable constraints are kept at the front of `constraints`, in their order.
    std::size_t usableCount = 0;
    for (auto& constraint : constraints) {
        const bool inside =
            isUsable(constraint->first) && (!constraint->second || isUsable(*constraint->second));
        if (!inside) {
            if (mode_ == Mode::window) {
                qWarning(
                    "A constraint names views of different windows (or a deleted view or "
                    "a guide without owning view); it is left out of the layout");
            }
            continue;
        }
        for (const AnchorData* anchor :
             {&constraint->first, constraint->second ? &*constraint->second : nullptr}) {
            if (anchor && anchor->item.isView()) {
                addParticipant(anchor->item.widget(), *anchor->item.hostData());
            }
        }
        if (&constraints[usableCount] != &constraint) {
            constraints[usableCount] = std::move(constraint);
        }
        ++usableCount;
    }
    constraints.resize(usableCount);
    const std::vector<std::shared_ptr<ConstraintData>>& usable = constraints;

    // Each participant brings four variables; the root four constraints. (A translated view's
    // frame or an intrinsic size adds more, usually few: the tables grow for those.)
    solver_.reserve(usable.size() + 4, 4 * participants_.size());
    installed_.reserve(usable.size());

    // The root: its origin at zero; its size an edit (the window's size, or zero when fitting).
    const ItemVariables& rootVariables = rootData.variables;
    solver_.addConstraint(
        Constraint(Expression(rootVariables.left), Relation::equal, Expression(0.0)));
    solver_.addConstraint(
        Constraint(Expression(rootVariables.top), Relation::equal, Expression(0.0)));
    const LayoutPriority rootPriority =
        mode_ == Mode::window ? kRootSizePriority : kLayoutPriorityFittingSizeLevel;
    solver_.addEditVariable(rootVariables.width, rootPriority);
    solver_.addEditVariable(rootVariables.height, rootPriority);
    solver_.addConstraint(
        Constraint(Expression(rootVariables.width), Relation::greaterThanOrEqual, Expression(0.0)));
    solver_.addConstraint(Constraint(Expression(rootVariables.height), Relation::greaterThanOrEqual,
                                     Expression(0.0)));
    rootSize_ = mode_ == Mode::window ? root_->size() : QSize(0, 0);
    solver_.suggestValue(rootVariables.width, rootSize_.width());
    solver_.suggestValue(rootVariables.height, rootSize_.height());

    for (std::size_t index = 1; index < participants_.size(); ++index) {
        Participant& participant = participants_[index];
        if (participant.translates) {
            addTranslated(participant);
        } else {
            addIntrinsic(participant);
        }
    }
    for (const auto& constraint : usable) {
        install(constraint);
    }
}

void LayoutEngine::refresh() {
    const ItemVariables& rootVariables = participants_[0].data->variables;
    if (mode_ == Mode::window && root_->size() != rootSize_) {
        rootSize_ = root_->size();
        solver_.suggestValue(rootVariables.width, rootSize_.width());
        solver_.suggestValue(rootVariables.height, rootSize_.height());
    }
    const bool intrinsicMoved = builtIntrinsic_ != intrinsicGeneration();
    builtIntrinsic_ = intrinsicGeneration();
    for (std::size_t index = 1; index < participants_.size(); ++index) {
        Participant& participant = participants_[index];
        if (!participant.widget) {
            continue;
        }
        if (participant.translates) {
            const QRect frame = translatedFrame(participant);
            if (frame == participant.frame) {
                continue;
            }
            const int old[4] = {participant.frame.x(), participant.frame.y(),
                                participant.frame.width(), participant.frame.height()};
            const int now[4] = {frame.x(), frame.y(), frame.width(), frame.height()};
            for (int part = 0; part < 4; ++part) {
                if (old[part] != now[part]) {
                    // The constraints read `v - a - value == 0`.
                    solver_.changeConstant(*participant.frameConstraints[part], -now[part]);
                }
            }
            participant.frame = frame;
        } else if (intrinsicMoved) {
            const QSize intrinsic = View(participant.widget).intrinsicContentSize();
            if (intrinsic == participant.intrinsic) {
                continue;
            }
            const int old[2] = {participant.intrinsic.width(), participant.intrinsic.height()};
            const int now[2] = {intrinsic.width(), intrinsic.height()};
            for (int axis = 0; axis < 2; ++axis) {
                if (old[axis] == now[axis]) {
                    continue;
                }
                for (auto* constraint :
                     {&participant.hugging[axis], &participant.compression[axis]}) {
                    if (*constraint && now[axis] >= 0) {
                        solver_.changeConstant(**constraint, -now[axis]);
                    } else if (*constraint) {
                        solver_.removeConstraint(**constraint);
                        constraint->reset();
                    }
                }
                if (old[axis] < 0 && now[axis] >= 0) {
                    // Gaining an intrinsic size on an axis: new hugging and compression.
                    const solver::Variable& variable = axis == 0
                                                           ? participant.data->variables.width
                                                           : participant.data->variables.height;
                    participant.hugging[axis] =
                        Constraint(Expression(variable), Relation::lessThanOrEqual,
                                   Expression(double(now[axis])), participant.data->hugging[axis]);
                    participant.compression[axis] = Constraint(
                        Expression(variable), Relation::greaterThanOrEqual,
                        Expression(double(now[axis])), participant.data->compression[axis]);
                    solver_.addConstraint(*participant.hugging[axis]);
                    solver_.addConstraint(*participant.compression[axis]);
                }
            }
            participant.intrinsic = intrinsic;
        }
    }
}

void LayoutEngine::place() {
    ++placingDepth;
    // The origin of a widget in window pixels: solved for participants, its static position
    // within its parent for the others.
    solver::PointerMap<QPoint> origins;
    const auto rounded = [](double value) { return int(std::lround(value)); };
    std::function<QPoint(const QWidget*)> originOf = [&](const QWidget* widget) -> QPoint {
        if (widget == nullptr || widget == root_) {
            return QPoint(0, 0);
        }
        if (const QPoint* found = origins.find(widget)) {
            return *found;
        }
        QPoint origin;
        if (const int index = participantIndex(widget); index >= 0) {
            const ItemVariables& v = participants_[index].data->variables;
            origin = QPoint(rounded(v.left.value()), rounded(v.top.value()));
        } else {
            origin = originOf(widget->parentWidget()) + widget->pos();
        }
        origins[widget] = origin;
        return origin;
    };
    for (std::size_t index = 1; index < participants_.size(); ++index) {
        const Participant& participant = participants_[index];
        if (participant.translates || !participant.widget) {
            continue;
        }
        const ItemVariables& v = participant.data->variables;
        const int left = rounded(v.left.value());
        const int top = rounded(v.top.value());
        const int right = rounded(v.left.value() + v.width.value());
        const int bottom = rounded(v.top.value() + v.height.value());
        const QPoint parentOrigin = originOf(participant.widget->parentWidget());
        const QRect geometry(left - parentOrigin.x(), top - parentOrigin.y(),
                             std::max(0, right - left), std::max(0, bottom - top));
        if (participant.widget->geometry() != geometry) {
            participant.widget->setGeometry(geometry);
        }
    }
    --placingDepth;
}

void LayoutEngine::layout() {
    if (!root_) {
        return;
    }
    if (!built_ || builtStructure_ != structureGeneration()) {
        rebuild();
    } else {
        refresh();
    }
    solver_.updateVariables();
    if (mode_ == Mode::window) {
        place();
    }
}

QSize LayoutEngine::fittingSize() {
    if (!root_) {
        return {};
    }
    if (!built_ || builtStructure_ != structureGeneration()) {
        rebuild();
    } else {
        refresh();
    }
    solver_.updateVariables();
    const ItemVariables& v = participants_[0].data->variables;
    return QSize(int(std::ceil(v.width.value() - 1e-6)), int(std::ceil(v.height.value() - 1e-6)));
}

void LayoutEngine::constantChanged(ConstraintData& constraint) {
    if (constraint.installed) {
        // The solver holds `first - (second * multiplier + constant)`: its constant is -constant.
        solver_.changeConstant(*constraint.installed, -constraint.constant);
    }
}

void LayoutEngine::priorityChanged(ConstraintData& constraint) {
    if (!constraint.installed) {
        return;
    }
    const LayoutPriority old = constraint.installed->priority();
    if (old < kLayoutPriorityRequired && constraint.priority < kLayoutPriorityRequired) {
        solver_.changePriority(*constraint.installed, constraint.priority);
        return;
    }
    // To or from required: the constraint is made anew by the next build.
    structureChanged();
}

void LayoutEngine::deactivated(ConstraintData& constraint) {
    const bool rebuildDue = !built_ || builtStructure_ != structureGeneration();
    if (!rebuildDue && constraint.installed && solver_.hasConstraint(*constraint.installed)) {
        solver_.removeConstraint(*constraint.installed);
    }
    constraint.installed.reset();
    constraint.engine = nullptr;
    if (rebuildDue) {
        // The next layout starts a new solver; taking the constraint out of this one would be
        // wasted work, and when a window full of views goes it would be most of the work (each
        // removal searches the tableau). The entry left in `installed_` no longer points here,
        // so the rebuild passes over it.
        return;
    }
    const auto found = std::find_if(installed_.begin(), installed_.end(),
                                    [&](const auto& held) { return held.get() == &constraint; });
    if (found != installed_.end()) {
        installed_.erase(found);
    }
}

bool LayoutEngine::activatedIncrementally(const std::shared_ptr<ConstraintData>& constraint) {
    if (!built_ || builtStructure_ != structureGeneration() || mode_ != Mode::window) {
        return false;
    }
    for (const AnchorData* anchor :
         {&constraint->first, constraint->second ? &*constraint->second : nullptr}) {
        if (anchor == nullptr) {
            continue;
        }
        if (!hostIsAlive(*anchor) || !isInside(anchor->item.hostWidget())) {
            return false;
        }
        if (anchor->item.isView() && participantIndex(anchor->item.widget()) < 0) {
            return false;
        }
    }
    install(constraint);
    return true;
}

}  // namespace dovrel::ui::detail

// The incremental Cassowary simplex.
//
// The tableau holds rows in solved form `basic = constant + sum(coefficient * parametric)`;
// the current solution sets every parametric symbol to 0, so a basic symbol's value is its
// row's constant. Every constraint adds one row (with a slack for an inequality, two error
// symbols for a preference of equality, one error symbol and one slack for a preference of
// inequality, a dummy marker for a required equality), and the objective minimises the error
// symbols, level by level from the highest priority down.
//
// Invariants kept between calls:
//   - every row of a restricted basic symbol has a constant >= 0 (primal feasibility);
//   - no restricted parametric symbol has a lexicographically negative cost (optimality);
//   - rows of restricted symbols, of dummies and the objective never hold an external symbol:
//     a new row that holds an external is always solved for it;
//   - the row of an external may hold other externals that are basic themselves (a factored
//     row), but only rows added for a fresh external (one no row held yet) are left factored,
//     so these references never form a cycle.
//
// Factored rows are what keeps chains cheap. When each view of a column is pinned below the
// one before, the fully substituted row of the last view's top holds a dummy of every
// equality above it, and building all those rows costs the square of the column's length;
// left factored, the row of each top reads `previous top + previous height + spacing + dummy`.
// Values are read by following the references; the simplex itself only ever reads rows of
// restricted symbols and the objective, which are kept fully substituted (a factored row is
// expanded before it is substituted anywhere).
//
// The column index (which rows may hold a symbol) makes substitution and the ratio tests visit
// only the rows concerned; its lists are compacted whenever they are walked.

#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_map>

#include "platform/ui/solver/PointerMap.h"
#include "platform/ui/solver/Row.h"
#include "platform/ui/solver/Solver.h"

namespace dovrel::ui::solver {

using detail::Cell;
using detail::isRestricted;
using detail::nearZero;
using detail::Row;
using detail::SymbolId;
using detail::SymbolKind;

namespace {

constexpr SymbolId kNoSymbol = static_cast<SymbolId>(-1);

// The symbols a constraint brought into the tableau. The constraint's equation reads
// `constant + terms + markerCoefficient * marker + otherCoefficient * other = 0`.
struct Tag {
    SymbolId marker = kNoSymbol;
    double markerCoefficient = 0.0;
    SymbolId other = kNoSymbol;
    double otherCoefficient = 0.0;
    // A preference's error symbols (those of kind error among the two) are what it costs in
    // the objective; a required constraint has none.
};

// What the solver keeps of a constraint it holds: the handle, so that the identity it is known
// by cannot be reused while held, and the tag.
struct ConstraintRecord {
    Constraint constraint;
    Tag tag;
    const void* identity() const { return constraint.identity(); }
};

struct VariableRecord {
    Variable variable;
    SymbolId symbol;
    int uses = 0;  // constraints naming the variable
    const void* identity() const { return variable.identity(); }
};

// Records by the identity of their handle (record.identity()): the records packed in a vector
// and a small index of their positions. A layout adds thousands of constraints and variables at
// once; packed, they cost a fraction of the memory and of the cache misses of a node per record.
// Positions stay valid until an erasure (which moves the last record into the hole); pointers
// until the next insertion or erasure.
template <typename Record>
class RecordTable {
  public:
    Record* find(const void* identity) {
        const std::uint32_t* position = positions_.find(identity);
        return position != nullptr ? &records_[*position] : nullptr;
    }
    const Record* find(const void* identity) const {
        const std::uint32_t* position = positions_.find(identity);
        return position != nullptr ? &records_[*position] : nullptr;
    }
    // The position of a held identity's record, or null.
    const std::uint32_t* positionOf(const void* identity) const {
        return positions_.find(identity);
    }
    bool contains(const void* identity) const { return positions_.contains(identity); }
    Record& at(std::uint32_t position) { return records_[position]; }

    // Adds the record of an identity the table does not hold; returns its position.
    std::uint32_t insert(Record record) {
        const auto position = static_cast<std::uint32_t>(records_.size());
        positions_[record.identity()] = position;
        records_.push_back(std::move(record));
        return position;
    }

    // Removes and returns the record of a held identity.
    Record take(const void* identity) {
        const std::uint32_t position = *positions_.find(identity);
        Record record = std::move(records_[position]);
        if (position + 1 != records_.size()) {
            records_[position] = std::move(records_.back());
            positions_[records_[position].identity()] = position;
        }
        records_.pop_back();
        positions_.erase(identity);
        return record;
    }

    void reserve(std::size_t count) {
        positions_.reserve(count);
        records_.reserve(count);
    }
    std::size_t size() const { return records_.size(); }
    typename std::vector<Record>::iterator begin() { return records_.begin(); }
    typename std::vector<Record>::iterator end() { return records_.end(); }

  private:
    PointerMap<std::uint32_t> positions_;
    std::vector<Record> records_;
};

// The basics whose rows may hold a symbol. Most symbols of a layout appear in one or two rows;
// two inline entries make the list no larger than an empty std::vector.
using ColumnList = SmallVector<SymbolId, 2>;

// One priority level of the objective: a row whose cells are the costs at that priority.
struct Level {
    Priority priority;
    Row row;
    int uses = 0;  // constraints with error symbols at this level
};

[[noreturn]] void fail(SolverError::Kind kind, const std::string& message) {
    throw SolverError(kind, message);
}

}  // namespace

struct Solver::Impl {
    // Everything a failed addition may have touched, copied before the rare additions that
    // can fail after changing the tableau and put back when they do.
    struct State {
        std::vector<SymbolKind> kinds;         // by symbol
        std::vector<std::optional<Row>> rows;  // by symbol; engaged when the symbol is basic
        std::vector<ColumnList> columns;       // by symbol: basics whose rows may hold it
        std::vector<Level> levels;             // by descending priority
        RecordTable<VariableRecord> variables;
        std::vector<SymbolId> infeasible;  // restricted basics whose constant went negative
    };
    State state;
    std::vector<std::uint32_t> visitStamps;  // by symbol, for walking a column once per basic
    std::uint32_t visitStamp = 0;
    std::optional<Row> artificial;  // the objective of the artificial phase, while it runs
    RecordTable<ConstraintRecord> constraints;
    std::unordered_map<const void*, Constraint> edits;  // by variable identity
    // The records of the variables of the constraint being added, in the order of its terms.
    std::vector<std::uint32_t> termRecords;  // positions in state.variables

    // --- Symbols and rows

    SymbolId newSymbol(SymbolKind kind) {
        const auto symbol = static_cast<SymbolId>(state.kinds.size());
        state.kinds.push_back(kind);
        state.rows.emplace_back();
        state.columns.emplace_back();
        return symbol;
    }

    SymbolKind kind(SymbolId symbol) const { return state.kinds[symbol]; }
    bool isBasic(SymbolId symbol) const { return state.rows[symbol].has_value(); }

    // Dummies are not indexed: in chains of required equalities (a column of rows, each pinned
    // below the one before) every row holds the dummies of all the equalities above it, so
    // indexing them costs more than anything else the solver does, while a dummy's rows are
    // only looked for when its constraint is removed or its constant changes: then every row
    // is searched.
    bool isIndexed(SymbolId symbol) const { return kind(symbol) != SymbolKind::dummy; }

    auto appearedIn(SymbolId basic) {
        return [this, basic](SymbolId symbol) {
            if (isIndexed(symbol))
                state.columns[symbol].push_back(basic);
        };
    }

    void setRow(SymbolId basic, Row row) {
        for (const Cell& cell : row.cells()) {
            if (isIndexed(cell.symbol))
                state.columns[cell.symbol].push_back(basic);
        }
        state.rows[basic] = std::move(row);
    }

    Row takeRow(SymbolId basic) {
        Row row = std::move(*state.rows[basic]);
        state.rows[basic].reset();
        return row;
    }

    // Calls `visit(basic, row)` once for every row that holds `symbol`; `visit` returns whether
    // the row still holds it afterwards. Drops stale entries of the column on the way.
    template <typename Visit>
    void forEachRowHolding(SymbolId symbol, Visit&& visit) {
        if (!isIndexed(symbol)) {
            for (SymbolId basic = 0; basic < state.rows.size(); ++basic) {
                if (isBasic(basic) && state.rows[basic]->coefficientFor(symbol) != 0.0) {
                    visit(basic, *state.rows[basic]);
                }
            }
            return;
        }
        ColumnList walked = std::move(state.columns[symbol]);
        state.columns[symbol].clear();
        if (visitStamps.size() < state.kinds.size())
            visitStamps.resize(state.kinds.size(), 0);
        if (++visitStamp == 0) {
            std::fill(visitStamps.begin(), visitStamps.end(), 0);
            visitStamp = 1;
        }
        std::size_t kept = 0;  // the entries still true are compacted to the front of `walked`
        for (const SymbolId basic : walked) {
            if (visitStamps[basic] == visitStamp)
                continue;
            visitStamps[basic] = visitStamp;
            if (!isBasic(basic))
                continue;
            Row& row = *state.rows[basic];
            if (row.coefficientFor(symbol) == 0.0)
                continue;
            if (visit(basic, row))
                walked[kept++] = basic;
        }
        walked.resize(kept);
        // Visits may have listed rows under this symbol meanwhile; keep those too.
        auto& column = state.columns[symbol];
        if (column.empty()) {
            column = std::move(walked);
        } else {
            column.append(walked.begin(), walked.end());
        }
    }

    void noteIfInfeasible(SymbolId basic, const Row& row) {
        if (isRestricted(kind(basic)) && row.constant() < 0.0 && !nearZero(row.constant())) {
            state.infeasible.push_back(basic);
        }
    }

    // Replaces the parametric `symbol` by `expression` in every row and in the objectives.
    void substitute(SymbolId symbol, const Row& expression) {
        forEachRowHolding(symbol, [&](SymbolId basic, Row& row) {
            row.substitute(symbol, expression, appearedIn(basic));
            noteIfInfeasible(basic, row);
            return false;
        });
        for (Level& level : state.levels)
            level.row.substitute(symbol, expression, [](SymbolId) {});
        if (artificial)
            artificial->substitute(symbol, expression, [](SymbolId) {});
    }

    // Exchanges the basic `leaving` with `entering`, a parametric symbol of its row.
    void pivot(SymbolId leaving, SymbolId entering) {
        Row row = takeRow(leaving);
        row.solveFor(leaving, entering);
        substitute(entering, row);
        setRow(entering, std::move(row));
    }

    // --- The lexicographic objective

    Level& levelFor(Priority priority) {
        auto position =
            std::find_if(state.levels.begin(), state.levels.end(),
                         [&](const Level& level) { return level.priority <= priority; });
        if (position == state.levels.end() || position->priority != priority) {
            position = state.levels.insert(position, Level{priority, Row(), 0});
        }
        return *position;
    }

    // Adds (sign +1) or takes away (sign -1) the cost of a constraint's error symbols.
    void changeCost(const Tag& tag, Priority priority, double sign) {
        if (priority >= kRequired)
            return;
        Level& level = levelFor(priority);
        for (const SymbolId error : {tag.marker, tag.other}) {
            if (kind(error) != SymbolKind::error)
                continue;
            if (isBasic(error)) {
                level.row.insert(*state.rows[error], sign, [](SymbolId) {});
            } else {
                level.row.insert(error, sign);
            }
        }
        level.uses += sign > 0 ? 1 : -1;
        if (level.uses == 0) {
            std::erase_if(state.levels,
                          [&](const Level& each) { return each.priority == priority; });
        }
    }

    // The sign of a symbol's cost read level by level: -1, 0 or +1.
    int costSign(SymbolId symbol) const {
        for (const Level& level : state.levels) {
            const double cost = level.row.coefficientFor(symbol);
            if (cost < -detail::kEpsilon)
                return -1;
            if (cost > detail::kEpsilon)
                return 1;
        }
        return 0;
    }

    // Bland's rule: the lowest-numbered restricted symbol whose cost is negative.
    SymbolId enteringSymbol() const {
        SymbolId entering = kNoSymbol;
        if (artificial) {
            for (const Cell& cell : artificial->cells()) {
                if (cell.coefficient < -detail::kEpsilon && isRestricted(kind(cell.symbol))) {
                    return cell.symbol;  // cells are sorted: the first is the lowest
                }
            }
            return entering;
        }
        for (const Level& level : state.levels) {
            for (const Cell& cell : level.row.cells()) {
                if (cell.symbol >= entering)
                    break;
                if (cell.coefficient < -detail::kEpsilon && isRestricted(kind(cell.symbol)) &&
                    costSign(cell.symbol) < 0) {
                    entering = cell.symbol;
                    break;
                }
            }
        }
        return entering;
    }

    // The row that limits how far `entering` may grow: the least ratio, ties to the lowest
    // basic symbol (Bland's rule again).
    SymbolId leavingRow(SymbolId entering) {
        SymbolId leaving = kNoSymbol;
        double bestRatio = 0.0;
        forEachRowHolding(entering, [&](SymbolId basic, Row& row) {
            if (kind(basic) == SymbolKind::external)
                return true;
            const double coefficient = row.coefficientFor(entering);
            if (coefficient < 0.0) {
                const double ratio = -row.constant() / coefficient;
                if (leaving == kNoSymbol || ratio < bestRatio - detail::kEpsilon ||
                    (ratio <= bestRatio + detail::kEpsilon && basic < leaving)) {
                    leaving = basic;
                    bestRatio = ratio;
                }
            }
            return true;
        });
        return leaving;
    }

    std::size_t pivotLimit() const { return 1000 + 50 * state.kinds.size(); }

    // Primal simplex on the objective (the artificial one while it runs).
    void optimize() {
        for (std::size_t pivots = 0;; ++pivots) {
            if (pivots > pivotLimit()) {
                fail(SolverError::Kind::internalError, "The layout solver did not converge");
            }
            const SymbolId entering = enteringSymbol();
            if (entering == kNoSymbol)
                return;
            const SymbolId leaving = leavingRow(entering);
            if (leaving == kNoSymbol) {
                fail(SolverError::Kind::internalError,
                     "The layout solver's objective is unbounded");
            }
            pivot(leaving, entering);
        }
    }

    // Compares cost(a) / ratioA with cost(b) / ratioB level by level.
    bool dualRatioLess(SymbolId a, double divisorA, SymbolId b, double divisorB) const {
        for (const Level& level : state.levels) {
            const double left = level.row.coefficientFor(a) / divisorA;
            const double right = level.row.coefficientFor(b) / divisorB;
            if (left < right - detail::kEpsilon)
                return true;
            if (left > right + detail::kEpsilon)
                return false;
        }
        return a < b;
    }

    // Dual simplex: restores feasibility after constants moved, keeping optimality. Returns
    // false when a row cannot be made feasible (required constraints conflict).
    bool dualOptimize() {
        for (std::size_t pivots = 0; !state.infeasible.empty(); ++pivots) {
            if (pivots > pivotLimit()) {
                fail(SolverError::Kind::internalError, "The layout solver did not converge");
            }
            const SymbolId leaving = state.infeasible.back();
            state.infeasible.pop_back();
            if (!isBasic(leaving))
                continue;
            const Row& row = *state.rows[leaving];
            if (row.constant() >= 0.0 || nearZero(row.constant()))
                continue;
            SymbolId entering = kNoSymbol;
            double enteringCoefficient = 0.0;
            for (const Cell& cell : row.cells()) {
                if (cell.coefficient <= detail::kEpsilon || !isRestricted(kind(cell.symbol)))
                    continue;
                if (entering == kNoSymbol ||
                    dualRatioLess(cell.symbol, cell.coefficient, entering, enteringCoefficient)) {
                    entering = cell.symbol;
                    enteringCoefficient = cell.coefficient;
                }
            }
            if (entering == kNoSymbol) {
                state.infeasible.clear();
                return false;
            }
            pivot(leaving, entering);
        }
        return true;
    }

    // --- Constraints

    // The position of the variable's record, made (with a new symbol) when missing.
    std::uint32_t recordFor(const Variable& variable) {
        if (const std::uint32_t* known = state.variables.positionOf(variable.identity()))
            return *known;
        return state.variables.insert(VariableRecord{variable, newSymbol(SymbolKind::external), 0});
    }

    // The constraint's equation over the current parametric symbols, and its tag.
    Row makeRow(const Constraint& constraint, Tag& tag) {
        const Expression& expression = constraint.expression();
        Row row(expression.constant);
        // The terms, the marker, and for a preference its error symbol.
        row.reserve(expression.terms.size() + (constraint.priority() >= kRequired ? 1 : 2));
        termRecords.clear();
        for (const Term& term : expression.terms) {
            const std::uint32_t position = recordFor(term.variable);
            termRecords.push_back(position);
            row.insert(state.variables.at(position).symbol, term.coefficient);
        }
        const bool required = constraint.priority() >= kRequired;
        if (constraint.relation() == Relation::equal) {
            if (required) {
                tag.marker = newSymbol(SymbolKind::dummy);
                tag.markerCoefficient = 1.0;
            } else {
                tag.marker = newSymbol(SymbolKind::error);
                tag.markerCoefficient = -1.0;
                tag.other = newSymbol(SymbolKind::error);
                tag.otherCoefficient = 1.0;
            }
        } else {
            // expression <= 0 reads expression + slack = 0; expression >= 0, expression - slack.
            const double sign = constraint.relation() == Relation::lessThanOrEqual ? 1.0 : -1.0;
            tag.marker = newSymbol(SymbolKind::slack);
            tag.markerCoefficient = sign;
            if (!required) {
                tag.other = newSymbol(SymbolKind::error);
                tag.otherCoefficient = -sign;
            }
        }
        row.insert(tag.marker, tag.markerCoefficient);
        if (tag.other != kNoSymbol)
            row.insert(tag.other, tag.otherCoefficient);
        return row;
    }

    bool isBasicExternal(SymbolId symbol) const {
        return kind(symbol) == SymbolKind::external && isBasic(symbol);
    }

    // Replaces every basic external the row refers to by its row, until the row holds
    // parametric symbols only.
    void expand(Row& row) const {
        for (;;) {
            const auto reference =
                std::find_if(row.cells().begin(), row.cells().end(),
                             [&](const Cell& cell) { return isBasicExternal(cell.symbol); });
            if (reference == row.cells().end())
                return;
            const SymbolId symbol = reference->symbol;
            row.substitute(symbol, *state.rows[symbol], [](SymbolId) {});
        }
    }

    // A parametric external of the row that no row holds yet: solving the row for it needs no
    // substitution anywhere, and the row may stay factored.
    SymbolId freshExternal(const Row& row) const {
        for (const Cell& cell : row.cells()) {
            if (kind(cell.symbol) == SymbolKind::external && !isBasic(cell.symbol) &&
                state.columns[cell.symbol].empty()) {
                return cell.symbol;
            }
        }
        return kNoSymbol;
    }

    // The value of a symbol in the current solution: a parametric symbol's is 0, a basic
    // one's its row's constant plus the values of the basic externals the row refers to.
    // `memo` (by symbol, NaN when not yet known) spares evaluating a shared reference twice.
    // `pending` is scratch space, passed in so that evaluating every variable allocates once.
    double evaluate(SymbolId symbol, std::vector<double>& memo,
                    std::vector<SymbolId>& pending) const {
        if (!isBasic(symbol))
            return 0.0;
        if (!std::isnan(memo[symbol]))
            return memo[symbol];
        // Depth first without recursion: a column of views is a chain as long as the column.
        pending.assign(1, symbol);
        while (!pending.empty()) {
            const SymbolId current = pending.back();
            if (!std::isnan(memo[current])) {
                pending.pop_back();
                continue;
            }
            const Row& row = *state.rows[current];
            double value = row.constant();
            bool ready = true;
            for (const Cell& cell : row.cells()) {
                if (!isBasicExternal(cell.symbol))
                    continue;
                if (std::isnan(memo[cell.symbol])) {
                    pending.push_back(cell.symbol);
                    ready = false;
                } else {
                    value += cell.coefficient * memo[cell.symbol];
                }
            }
            if (ready) {
                memo[current] = value;
                pending.pop_back();
            }
        }
        return memo[symbol];
    }

    SymbolId chooseSubject(const Row& row, const Tag& tag) const {
        for (const Cell& cell : row.cells()) {
            if (kind(cell.symbol) == SymbolKind::external)
                return cell.symbol;
        }
        for (const SymbolId candidate : {tag.marker, tag.other}) {
            if (candidate != kNoSymbol && isRestricted(kind(candidate)) &&
                row.coefficientFor(candidate) < 0.0) {
                return candidate;
            }
        }
        return kNoSymbol;
    }

    // For a row `0 = c + ...` with c >= 0 and no external: a restricted symbol with a negative
    // coefficient that can be solved for while every other row stays feasible (its value
    // c / -coefficient, put into the rows that hold it, leaves no restricted row negative).
    // This spares the artificial phase in the common case of a required size set on a view
    // whose size so far was only bounded.
    SymbolId feasibleRestrictedSubject(const Row& row) {
        for (const Cell& cell : row.cells()) {
            if (!isRestricted(kind(cell.symbol)) || cell.coefficient >= 0.0)
                continue;
            const double value = row.constant() / -cell.coefficient;
            bool feasible = true;
            forEachRowHolding(cell.symbol, [&](SymbolId basic, Row& other) {
                if (isRestricted(kind(basic)) &&
                    other.constant() + other.coefficientFor(cell.symbol) * value <
                        -detail::kEpsilon) {
                    feasible = false;
                }
                return true;
            });
            if (feasible)
                return cell.symbol;
        }
        return kNoSymbol;
    }

    bool holdsOnlyDummies(const Row& row) const {
        return std::all_of(row.cells().begin(), row.cells().end(), [&](const Cell& cell) {
            return kind(cell.symbol) == SymbolKind::dummy;
        });
    }

    // Adds `row` (`0 = row`) when no symbol can simply be solved for: an artificial symbol
    // stands for the row and is driven to zero. False when it cannot be (a conflict).
    bool addWithArtificialVariable(const Row& row) {
        const SymbolId art = newSymbol(SymbolKind::slack);
        setRow(art, row);
        artificial = row;
        optimize();
        const bool success = nearZero(artificial->constant());
        artificial.reset();
        if (isBasic(art)) {
            Row artRow = takeRow(art);
            if (!artRow.empty()) {
                const auto pivotable =
                    std::find_if(artRow.cells().begin(), artRow.cells().end(),
                                 [&](const Cell& cell) { return isRestricted(kind(cell.symbol)); });
                if (pivotable == artRow.cells().end())
                    return false;
                const SymbolId entering = pivotable->symbol;
                artRow.solveFor(art, entering);
                substitute(entering, artRow);
                setRow(entering, std::move(artRow));
            }
        }
        forEachRowHolding(art, [&](SymbolId, Row& each) {
            each.remove(art);
            return false;
        });
        for (Level& level : state.levels)
            level.row.remove(art);
        return success;
    }

    [[noreturn]] void failUnsatisfiable(const Constraint& constraint) {
        fail(SolverError::Kind::unsatisfiableConstraint,
             "Unable to satisfy the required constraint " + constraint.description() +
                 ": it conflicts with the required constraints already added");
    }

    void add(const Constraint& constraint) {
        Tag tag;
        Row row = makeRow(constraint, tag);
        SymbolId subject = freshExternal(row);
        if (subject != kNoSymbol) {
            changeCost(tag, constraint.priority(), 1.0);
            row.solveFor(subject);
            setRow(subject, std::move(row));
            record(constraint, tag);
            optimize();
            return;
        }
        expand(row);
        if (row.constant() < 0.0)
            row.reverseSign();
        subject = chooseSubject(row, tag);
        if (subject == kNoSymbol && holdsOnlyDummies(row)) {
            if (!nearZero(row.constant()))
                failUnsatisfiable(constraint);
            subject = tag.marker;
        }
        if (subject == kNoSymbol)
            subject = feasibleRestrictedSubject(row);
        if (subject == kNoSymbol) {
            State before = state;
            changeCost(tag, constraint.priority(), 1.0);
            if (!addWithArtificialVariable(row)) {
                state = std::move(before);
                failUnsatisfiable(constraint);
            }
        } else {
            changeCost(tag, constraint.priority(), 1.0);
            row.solveFor(subject);
            substitute(subject, row);
            setRow(subject, std::move(row));
        }
        record(constraint, tag);
        optimize();
    }

    // Counts the constraint's uses of its variables (found by makeRow) and keeps its tag.
    void record(const Constraint& constraint, const Tag& tag) {
        for (const std::uint32_t position : termRecords)
            ++state.variables.at(position).uses;
        constraints.insert(ConstraintRecord{constraint, tag});
    }

    // The row to solve for a parametric marker when its constraint goes: the row of a basic
    // dummy (which holds only dummies, and must keep doing so: a redundant required equality
    // stays exactly satisfied), else the restricted row that limits the marker least, else any
    // other restricted row, else an external's row.
    SymbolId markerLeavingRow(SymbolId marker) {
        SymbolId dummy = kNoSymbol, first = kNoSymbol, second = kNoSymbol, third = kNoSymbol;
        double firstRatio = 0.0, secondRatio = 0.0;
        forEachRowHolding(marker, [&](SymbolId basic, Row& row) {
            const double coefficient = row.coefficientFor(marker);
            if (kind(basic) == SymbolKind::dummy) {
                if (dummy == kNoSymbol || basic < dummy)
                    dummy = basic;
            } else if (kind(basic) == SymbolKind::external) {
                if (third == kNoSymbol || basic < third)
                    third = basic;
            } else if (coefficient < 0.0) {
                const double ratio = -row.constant() / coefficient;
                if (first == kNoSymbol || ratio < firstRatio) {
                    first = basic;
                    firstRatio = ratio;
                }
            } else {
                const double ratio = row.constant() / coefficient;
                if (second == kNoSymbol || ratio < secondRatio) {
                    second = basic;
                    secondRatio = ratio;
                }
            }
            return true;
        });
        if (dummy != kNoSymbol)
            return dummy;
        return first != kNoSymbol ? first : second != kNoSymbol ? second : third;
    }

    void remove(const Constraint& constraint) {
        const ConstraintRecord record = constraints.take(constraint.identity());
        changeCost(record.tag, constraint.priority(), -1.0);
        const SymbolId marker = record.tag.marker;
        if (isBasic(marker)) {
            takeRow(marker);
        } else {
            const SymbolId leaving = markerLeavingRow(marker);
            if (leaving == kNoSymbol) {
                fail(SolverError::Kind::internalError,
                     "The layout solver lost the row of " + constraint.description());
            }
            Row row = takeRow(leaving);
            row.solveFor(leaving, marker);
            expand(row);  // an external's row may be factored; rows it goes into may not
            substitute(marker, row);
        }
        state.columns[marker].clear();
        for (const Term& term : constraint.expression().terms)
            release(term.variable.identity());
        optimize();
    }

    // Forgets a variable no constraint names any more, when the tableau lets go of it.
    void release(const void* identity) {
        VariableRecord* found = state.variables.find(identity);
        if (--found->uses > 0)
            return;
        const SymbolId symbol = found->symbol;
        bool held = false;
        forEachRowHolding(symbol, [&](SymbolId, Row&) { return held = true; });
        if (held)
            return;  // still referred to, or tied to leftovers of removed constraints: keep it
        if (isBasic(symbol))
            takeRow(symbol);
        found->variable.setValue(0.0);
        state.variables.take(identity);
    }

    // A dummy is fixed at 0: a basic dummy whose row's constant moved off 0 is a required
    // equality that no longer holds.
    bool violatesDummy(SymbolId basic, const Row& row) const {
        return kind(basic) == SymbolKind::dummy && !nearZero(row.constant());
    }

    // Moves the constant of a held constraint by `delta` without rebuilding its row: the
    // equation `c + ... + m*marker = 0` with c + delta reads as before with marker + delta/m.
    // Queues the rows that became infeasible; returns whether a required equality broke.
    bool shiftConstant(const Tag& tag, double delta) {
        bool violated = false;
        if (isBasic(tag.marker)) {
            Row& row = *state.rows[tag.marker];
            row.addToConstant(-delta / tag.markerCoefficient);
            violated = violatesDummy(tag.marker, row);
            noteIfInfeasible(tag.marker, row);
        } else if (tag.other != kNoSymbol && isBasic(tag.other)) {
            Row& row = *state.rows[tag.other];
            row.addToConstant(-delta / tag.otherCoefficient);
            noteIfInfeasible(tag.other, row);
        } else {
            forEachRowHolding(tag.marker, [&](SymbolId basic, Row& row) {
                row.addToConstant(row.coefficientFor(tag.marker) * delta / tag.markerCoefficient);
                violated = violated || violatesDummy(basic, row);
                noteIfInfeasible(basic, row);
                return true;
            });
        }
        return violated;
    }

    // Queues every infeasible row: after a failed change, before putting it back.
    void noteEveryInfeasibleRow() {
        state.infeasible.clear();
        for (SymbolId basic = 0; basic < state.rows.size(); ++basic) {
            if (isBasic(basic))
                noteIfInfeasible(basic, *state.rows[basic]);
        }
    }

    void changeConstant(const Constraint& constraint, double newConstant) {
        const ConstraintRecord* found = constraints.find(constraint.identity());
        if (found == nullptr) {
            fail(SolverError::Kind::unknownConstraint,
                 "Cannot change the constant of a constraint the solver does not hold: " +
                     constraint.description());
        }
        if (!std::isfinite(newConstant)) {
            fail(SolverError::Kind::nonFiniteValue,
                 "A constraint's constant must be a finite number");
        }
        const double delta = newConstant - constraint.expression().constant;
        if (delta == 0.0)
            return;
        const Tag tag = found->tag;
        const bool violated = shiftConstant(tag, delta);
        if (violated || !dualOptimize()) {
            // Back to the old constant. The old system was feasible, and the dual steps kept
            // the basis optimal, so the dual simplex finds the old solution again.
            shiftConstant(tag, -delta);
            noteEveryInfeasibleRow();
            if (!dualOptimize()) {
                fail(SolverError::Kind::internalError, "The layout solver could not undo a change");
            }
            failUnsatisfiable(constraint);
        }
        Constraint(constraint).setConstant(newConstant);
    }
};

Solver::Solver() : impl_(std::make_unique<Impl>()) {}
Solver::~Solver() = default;
Solver::Solver(Solver&&) noexcept = default;
Solver& Solver::operator=(Solver&&) noexcept = default;

void Solver::addConstraint(const Constraint& constraint) {
    if (hasConstraint(constraint)) {
        fail(SolverError::Kind::duplicateConstraint,
             "The constraint is already in the solver: " + constraint.description());
    }
    impl_->add(constraint);
}

void Solver::removeConstraint(const Constraint& constraint) {
    if (!hasConstraint(constraint)) {
        fail(SolverError::Kind::unknownConstraint,
             "Cannot remove a constraint the solver does not hold: " + constraint.description());
    }
    impl_->remove(constraint);
}

bool Solver::hasConstraint(const Constraint& constraint) const {
    return impl_->constraints.contains(constraint.identity());
}

void Solver::changeConstant(const Constraint& constraint, double newConstant) {
    impl_->changeConstant(constraint, newConstant);
}

void Solver::changePriority(const Constraint& constraint, Priority priority) {
    const ConstraintRecord* found = impl_->constraints.find(constraint.identity());
    if (found == nullptr) {
        fail(SolverError::Kind::unknownConstraint,
             "Cannot change the priority of a constraint the solver does not hold: " +
                 constraint.description());
    }
    if (!std::isfinite(priority) || priority < 1 || priority > kRequired) {
        fail(SolverError::Kind::badPriority, "A priority must be between 1 and 1000");
    }
    if (priority >= kRequired || constraint.priority() >= kRequired) {
        fail(SolverError::Kind::badRequiredStrength,
             "A constraint cannot become required or stop being required while in the solver; "
             "remove it and add it again");
    }
    if (priority == constraint.priority())
        return;
    const Tag tag = found->tag;
    impl_->changeCost(tag, constraint.priority(), -1.0);
    Constraint(constraint).setPriority(priority);
    impl_->changeCost(tag, priority, 1.0);
    impl_->optimize();
}

void Solver::addEditVariable(const Variable& variable, Priority priority) {
    if (hasEditVariable(variable)) {
        fail(SolverError::Kind::duplicateEditVariable,
             "The variable " + variable.name() + " is already an edit variable");
    }
    if (std::isfinite(priority) && priority >= kRequired) {
        fail(SolverError::Kind::badRequiredStrength, "An edit variable cannot be required");
    }
    Constraint constraint(variable, Relation::equal, 0.0, priority);
    impl_->add(constraint);
    impl_->edits.emplace(variable.identity(), constraint);
}

void Solver::removeEditVariable(const Variable& variable) {
    auto found = impl_->edits.find(variable.identity());
    if (found == impl_->edits.end()) {
        fail(SolverError::Kind::unknownEditVariable,
             "The variable " + variable.name() + " is not an edit variable");
    }
    const Constraint constraint = found->second;
    impl_->edits.erase(found);
    impl_->remove(constraint);
}

bool Solver::hasEditVariable(const Variable& variable) const {
    return impl_->edits.contains(variable.identity());
}

void Solver::suggestValue(const Variable& variable, double value) {
    auto found = impl_->edits.find(variable.identity());
    if (found == impl_->edits.end()) {
        fail(SolverError::Kind::unknownEditVariable,
             "The variable " + variable.name() + " is not an edit variable");
    }
    if (!std::isfinite(value)) {
        fail(SolverError::Kind::nonFiniteValue, "A suggested value must be a finite number");
    }
    // The edit constraint reads variable - value == 0.
    impl_->changeConstant(found->second, -value);
}

void Solver::updateVariables() {
    std::vector<double> memo(impl_->state.kinds.size(), std::nan(""));
    std::vector<SymbolId> pending;
    for (VariableRecord& record : impl_->state.variables) {
        record.variable.setValue(impl_->evaluate(record.symbol, memo, pending));
    }
}

double Solver::value(const Variable& variable) const {
    const VariableRecord* found = impl_->state.variables.find(variable.identity());
    if (found == nullptr)
        return 0.0;
    std::vector<double> memo(impl_->state.kinds.size(), std::nan(""));
    std::vector<SymbolId> pending;
    return impl_->evaluate(found->symbol, memo, pending);
}

void Solver::reserve(std::size_t constraints, std::size_t variables) {
    // Each constraint brings one or two symbols of its own, each variable one.
    const std::size_t symbols = impl_->state.kinds.size() + 2 * constraints + variables;
    impl_->state.kinds.reserve(symbols);
    impl_->state.rows.reserve(symbols);
    impl_->state.columns.reserve(symbols);
    impl_->state.variables.reserve(impl_->state.variables.size() + variables);
    impl_->constraints.reserve(impl_->constraints.size() + constraints);
}

void Solver::reset() {
    for (VariableRecord& record : impl_->state.variables)
        record.variable.setValue(0.0);
    impl_ = std::make_unique<Impl>();
}

}  // namespace dovrel::ui::solver

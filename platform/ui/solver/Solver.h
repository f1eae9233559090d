#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace dovrel::ui::solver {

// A linear constraint solver for layout: the incremental Cassowary simplex.
//
// A layout is a set of linear relations between variables (a view's left edge, its width...):
//     a1*x1 + a2*x2 + ... + c  (== | <= | >=)  0
// each with a priority from 1 to 1000. Priority 1000 is required: the solution satisfies it
// exactly or the constraint is refused. A lower priority is a preference: the solver minimises
// the error of preferences, and a preference of a higher priority is always satisfied as well as
// possible before any preference of a lower priority is considered (the priorities are compared
// lexicographically, as a toolkit's layout engine does; two preferences of the same priority
// share their error, each with weight 1).
//
// Edits: a variable registered with addEditVariable(variable, priority) can be given a
// suggested value at any time; the solver moves it there as far as the other constraints
// allow, without rebuilding the tableau (a window's size, a view's size from outside).
//
// Incremental: adding or removing one constraint, suggesting a value and changing one
// constraint's constant each cost a few pivots, not a new solve.
//
// Values are read with value(variable) after updateVariables(), or straight from
// Variable::value() (updateVariables() writes them there).
//
// Threading: a Solver and its Variables and Constraints belong to one thread at a time.
// Errors: every misuse and every unsatisfiable required constraint throws SolverError (below)
// and leaves the solver holding the constraints, edits and solution it held before the call;
// the solver never loops forever (a simplex that would is stopped and reported as
// internalError). Non-finite numbers are refused where they enter (nonFiniteValue).

// Priorities, as a toolkit names them.
using Priority = double;
inline constexpr Priority kRequired = 1000;
inline constexpr Priority kDefaultHigh = 750;
inline constexpr Priority kDefaultLow = 250;
inline constexpr Priority kFittingSizeLevel = 50;

// A variable: a handle with shared identity (copies name the same variable) and its last
// solved value. Two Variables are the same variable exactly when they were copied from one.
class Variable {
  public:
    explicit Variable(std::string name = {});

    const std::string& name() const;
    double value() const;
    void setValue(double value);  // written by Solver::updateVariables()

    bool operator==(const Variable& other) const { return data_ == other.data_; }
    bool operator<(const Variable& other) const { return data_ < other.data_; }
    const void* identity() const { return data_.get(); }

  private:
    struct Data;
    std::shared_ptr<Data> data_;
};

struct Term {
    Variable variable;
    double coefficient = 1.0;
};

// A linear expression: sum of terms plus a constant. Terms naming the same variable may
// repeat; the solver adds them up.
struct Expression {
    std::vector<Term> terms;
    double constant = 0.0;

    Expression() = default;
    Expression(double constant) : constant(constant) {}  // NOLINT: numbers are expressions
    Expression(const Variable& variable) : terms{{variable, 1.0}} {}  // NOLINT
    Expression(std::vector<Term> terms, double constant)
        : terms(std::move(terms)), constant(constant) {}
};

Expression operator+(Expression lhs, const Expression& rhs);
Expression operator-(Expression lhs, const Expression& rhs);
Expression operator*(Expression expression, double factor);
Expression operator*(double factor, Expression expression);
Expression operator-(Expression expression);

enum class Relation { lessThanOrEqual, equal, greaterThanOrEqual };

// A constraint: `expression relation 0` with a priority. A handle with shared identity, like
// Variable; the solver knows a constraint by its identity, not by its content.
class Constraint {
  public:
    // lhs relation rhs, stored as (lhs - rhs) relation 0. A priority outside 1...1000 (or not
    // finite) throws SolverError.
    Constraint(const Expression& lhs, Relation relation, const Expression& rhs,
               Priority priority = kRequired);
    // `difference relation 0`, for a caller that builds lhs - rhs itself (terms of one variable
    // may repeat; they are added up here). Throws as the constructor does.
    static Constraint fromDifference(Expression difference, Relation relation,
                                     Priority priority = kRequired);

    const Expression& expression() const;  // lhs - rhs, terms of one variable merged
    Relation relation() const;
    Priority priority() const;
    // "x + 2*y - 10 >= 0 (priority 750)": for error messages and logs.
    std::string description() const;

    bool operator==(const Constraint& other) const { return data_ == other.data_; }
    bool operator<(const Constraint& other) const { return data_ < other.data_; }
    const void* identity() const { return data_.get(); }

  private:
    friend class Solver;
    struct Data;
    explicit Constraint(std::shared_ptr<Data> data) : data_(std::move(data)) {}

    // Written by the solver when it changes a held constraint's constant or priority.
    void setConstant(double constant);
    void setPriority(Priority priority);

    std::shared_ptr<Data> data_;
};

class SolverError : public std::runtime_error {
  public:
    enum class Kind {
        unsatisfiableConstraint,  // a required constraint conflicts with the required ones present
        duplicateConstraint,      // the constraint is already in the solver
        unknownConstraint,        // removing or changing a constraint the solver does not hold
        duplicateEditVariable,
        unknownEditVariable,
        badRequiredStrength,  // an edit variable cannot be required
        badPriority,          // outside 1...1000 or not finite
        nonFiniteValue,       // a coefficient, constant or suggested value is NaN or infinite
        internalError,        // the simplex did not terminate (a bug, reported, never a hang)
    };
    SolverError(Kind kind, const std::string& message);
    Kind kind() const { return kind_; }

  private:
    Kind kind_;
};

class Solver {
  public:
    Solver();
    ~Solver();
    Solver(Solver&&) noexcept;
    Solver& operator=(Solver&&) noexcept;
    Solver(const Solver&) = delete;
    Solver& operator=(const Solver&) = delete;

    void addConstraint(const Constraint& constraint);
    void removeConstraint(const Constraint& constraint);
    bool hasConstraint(const Constraint& constraint) const;

    // Replaces the constant of a constraint the solver holds, incrementally: `newConstant` is
    // the constant of (lhs - rhs), as Constraint::expression() reports it.
    void changeConstant(const Constraint& constraint, double newConstant);

    // Changes a preference's priority (both below 1000). Going to or from required throws
    // badRequiredStrength; the caller removes and adds instead.
    void changePriority(const Constraint& constraint, Priority priority);

    void addEditVariable(const Variable& variable, Priority priority);
    void removeEditVariable(const Variable& variable);
    bool hasEditVariable(const Variable& variable) const;
    void suggestValue(const Variable& variable, double value);

    // Writes the current solution into every variable the solver knows.
    void updateVariables();
    // The current solution of one variable (0 for a variable the solver does not know).
    double value(const Variable& variable) const;

    // Forgets every constraint and edit variable.
    void reset();

    // Makes room for `constraints` more constraints over `variables` more variables, so that
    // adding a whole layout at once does not grow the tables step by step. Only a hint.
    void reserve(std::size_t constraints, std::size_t variables);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace dovrel::ui::solver

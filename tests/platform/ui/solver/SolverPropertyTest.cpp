// Random constraint systems: whatever the solver accepts, its solution satisfies every required
// constraint it holds, is at least as good as a known feasible point priority by priority, and is
// as good as a fresh solver's on the same constraints; whatever it refuses leaves it as it was.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "platform/ui/solver/Solver.h"

namespace dovrel::ui::solver {
namespace {

constexpr double kTolerance = 1e-5;

std::string variableName(int index) {
    std::string name = "x";
    name += std::to_string(index);
    return name;
}

double evaluate(const Expression& expression, const std::map<const void*, double>& point) {
    double value = expression.constant;
    for (const Term& term : expression.terms) {
        const auto found = point.find(term.variable.identity());
        value += term.coefficient * (found == point.end() ? 0.0 : found->second);
    }
    return value;
}

// How far a value of the constraint's expression is from satisfying it.
double violation(const Constraint& constraint, double value) {
    switch (constraint.relation()) {
        case Relation::equal:
            return std::fabs(value);
        case Relation::lessThanOrEqual:
            return std::max(0.0, value);
        case Relation::greaterThanOrEqual:
            return std::max(0.0, -value);
    }
    return 0.0;
}

// The total violation of the preferences at each priority, highest first.
std::vector<double> objective(const std::vector<Constraint>& constraints,
                              const std::map<const void*, double>& point) {
    std::map<Priority, double, std::greater<>> levels;
    for (const Constraint& constraint : constraints) {
        if (constraint.priority() >= kRequired)
            continue;
        levels[constraint.priority()] +=
            violation(constraint, evaluate(constraint.expression(), point));
    }
    std::vector<double> result;
    for (const auto& [priority, total] : levels)
        result.push_back(total);
    return result;
}

// Whether `a` is lexicographically at most `b`, within `tolerance` at each level.
bool lexicographicallyAtMost(const std::vector<double>& a, const std::vector<double>& b,
                             double tolerance) {
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (a[i] < b[i] - tolerance)
            return true;
        if (a[i] > b[i] + tolerance)
            return false;
    }
    return true;
}

class RandomSystem {
  public:
    explicit RandomSystem(unsigned seed) : random_(seed) {
        const int count = std::uniform_int_distribution(2, 8)(random_);
        for (int i = 0; i < count; ++i) {
            variables_.emplace_back(variableName(i));
            hidden_[variables_.back().identity()] =
                std::uniform_int_distribution(-100, 100)(random_);
        }
    }

    std::mt19937& random() { return random_; }
    const std::map<const void*, double>& hidden() const { return hidden_; }

    Expression randomExpression() {
        Expression expression;
        const int terms = std::uniform_int_distribution(1, 3)(random_);
        for (int i = 0; i < terms; ++i) {
            const int coefficient = std::uniform_int_distribution(-3, 3)(random_);
            if (coefficient == 0)
                continue;
            expression.terms.push_back({pickVariable(), double(coefficient)});
        }
        if (expression.terms.empty())
            expression.terms.push_back({pickVariable(), 1.0});
        return expression;
    }

    // A required constraint the hidden point satisfies.
    Constraint feasibleRequired() {
        Expression expression = randomExpression();
        const double atHidden = evaluate(expression, hidden_);
        const double room = std::uniform_int_distribution(0, 20)(random_);
        switch (std::uniform_int_distribution(0, 2)(random_)) {
            case 0:
                return Constraint(expression, Relation::equal, atHidden);
            case 1:
                return Constraint(expression, Relation::lessThanOrEqual, atHidden + room);
            default:
                return Constraint(expression, Relation::greaterThanOrEqual, atHidden - room);
        }
    }

    Constraint anyConstraint(Priority priority) {
        const Expression expression = randomExpression();
        const double target = std::uniform_int_distribution(-150, 150)(random_);
        const auto relation = static_cast<Relation>(std::uniform_int_distribution(0, 2)(random_));
        return Constraint(expression, relation, target, priority);
    }

    Priority randomPreferencePriority() {
        static constexpr Priority priorities[] = {50, 250, 251, 500, 750, 999};
        return priorities[std::uniform_int_distribution<std::size_t>(0, 5)(random_)];
    }

    std::map<const void*, double> solution(const Solver& solver) const {
        std::map<const void*, double> point;
        for (const Variable& variable : variables_)
            point[variable.identity()] = solver.value(variable);
        return point;
    }

    Variable pickVariable() {
        return variables_[std::uniform_int_distribution<std::size_t>(
            0, variables_.size() - 1)(random_)];
    }

  private:
    std::mt19937 random_;
    std::vector<Variable> variables_;
    std::map<const void*, double> hidden_;
};

void expectRequiredHold(const std::vector<Constraint>& constraints,
                        const std::map<const void*, double>& point, unsigned seed) {
    for (const Constraint& constraint : constraints) {
        if (constraint.priority() < kRequired)
            continue;
        EXPECT_LE(violation(constraint, evaluate(constraint.expression(), point)), kTolerance)
            << "seed " << seed << ": " << constraint.description();
    }
}

TEST(SolverProperty, SolutionsSatisfyTheRequiredAndAreOptimalLevelByLevel) {
    for (unsigned seed = 1; seed <= 1000; ++seed) {
        RandomSystem system(seed);
        Solver solver;
        std::vector<Constraint> held;
        const int required = std::uniform_int_distribution(1, 12)(system.random());
        const int preferences = std::uniform_int_distribution(0, 12)(system.random());
        for (int i = 0; i < required; ++i) {
            held.push_back(system.feasibleRequired());
            solver.addConstraint(held.back());
        }
        for (int i = 0; i < preferences; ++i) {
            held.push_back(system.anyConstraint(system.randomPreferencePriority()));
            solver.addConstraint(held.back());
        }
        // A run of incremental changes: removals, additions back, constants moved (keeping the
        // hidden point feasible), priorities changed.
        for (int step = 0; step < 20 && !held.empty(); ++step) {
            auto& random = system.random();
            const std::size_t index =
                std::uniform_int_distribution<std::size_t>(0, held.size() - 1)(random);
            Constraint constraint = held[index];
            switch (std::uniform_int_distribution(0, 3)(random)) {
                case 0:
                    solver.removeConstraint(constraint);
                    held.erase(held.begin() + static_cast<std::ptrdiff_t>(index));
                    break;
                case 1:
                    held.push_back(step % 2
                                       ? system.feasibleRequired()
                                       : system.anyConstraint(system.randomPreferencePriority()));
                    solver.addConstraint(held.back());
                    break;
                case 2: {
                    double constant = constraint.expression().constant;
                    const double atHidden = evaluate(constraint.expression(), system.hidden());
                    if (constraint.priority() < kRequired) {
                        constant += std::uniform_int_distribution(-30, 30)(random);
                    } else if (constraint.relation() == Relation::lessThanOrEqual) {
                        constant = constraint.expression().constant - atHidden -
                                   std::uniform_int_distribution(0, 20)(random);
                    } else if (constraint.relation() == Relation::greaterThanOrEqual) {
                        constant = constraint.expression().constant - atHidden +
                                   std::uniform_int_distribution(0, 20)(random);
                    }
                    solver.changeConstant(constraint, constant);
                    EXPECT_DOUBLE_EQ(constraint.expression().constant, constant);
                    break;
                }
                default:
                    if (constraint.priority() < kRequired) {
                        solver.changePriority(constraint, system.randomPreferencePriority());
                    }
                    break;
            }
        }
        const auto point = system.solution(solver);
        expectRequiredHold(held, point, seed);
        // The hidden point satisfies every required constraint, so the optimum is no worse.
        expectRequiredHold(held, system.hidden(), seed);
        EXPECT_TRUE(
            lexicographicallyAtMost(objective(held, point), objective(held, system.hidden()), 1e-4))
            << "seed " << seed;
        // A fresh solver on the same constraints reaches the same optimum.
        Solver fresh;
        for (const Constraint& constraint : held)
            fresh.addConstraint(constraint);
        const auto freshObjective = objective(held, system.solution(fresh));
        const auto incrementalObjective = objective(held, point);
        ASSERT_EQ(freshObjective.size(), incrementalObjective.size());
        for (std::size_t level = 0; level < freshObjective.size(); ++level) {
            EXPECT_NEAR(incrementalObjective[level], freshObjective[level], 1e-4)
                << "seed " << seed << " level " << level;
        }
    }
}

TEST(SolverProperty, RefusedConstraintsLeaveTheSolutionAsItWas) {
    int refused = 0;
    for (unsigned seed = 1; seed <= 1000; ++seed) {
        RandomSystem system(seed);
        Solver solver;
        std::vector<Constraint> held;
        for (int i = 0; i < 4; ++i) {
            held.push_back(system.anyConstraint(system.randomPreferencePriority()));
            solver.addConstraint(held.back());
        }
        for (int i = 0; i < 16; ++i) {
            const Constraint candidate = system.anyConstraint(kRequired);
            const auto before = system.solution(solver);
            try {
                solver.addConstraint(candidate);
                held.push_back(candidate);
            } catch (const SolverError& error) {
                ASSERT_EQ(error.kind(), SolverError::Kind::unsatisfiableConstraint) << error.what();
                ++refused;
                EXPECT_FALSE(solver.hasConstraint(candidate));
                const auto after = system.solution(solver);
                for (const auto& [variable, value] : before) {
                    EXPECT_NEAR(after.at(variable), value, kTolerance) << "seed " << seed;
                }
            }
            expectRequiredHold(held, system.solution(solver), seed);
        }
        // The preferences are still honoured as well as the required constraints allow.
        Solver fresh;
        for (const Constraint& constraint : held)
            fresh.addConstraint(constraint);
        const auto freshObjective = objective(held, system.solution(fresh));
        const auto objectiveNow = objective(held, system.solution(solver));
        for (std::size_t level = 0; level < freshObjective.size(); ++level) {
            EXPECT_NEAR(objectiveNow[level], freshObjective[level], 1e-4) << "seed " << seed;
        }
    }
    EXPECT_GT(refused, 100);  // the random systems do conflict, often
}

TEST(SolverProperty, EditVariablesTrackSuggestionsWithinBoxes) {
    // Each variable boxed by required bounds and edited: it sits at its suggestion clamped.
    std::mt19937 random(7);
    Solver solver;
    std::vector<Variable> variables;
    std::vector<std::pair<double, double>> boxes;
    for (int i = 0; i < 30; ++i) {
        variables.emplace_back(variableName(i));
        const double low = std::uniform_int_distribution(-50, 50)(random);
        const double high = low + std::uniform_int_distribution(0, 40)(random);
        boxes.emplace_back(low, high);
        solver.addConstraint(Constraint(variables.back(), Relation::greaterThanOrEqual, low));
        solver.addConstraint(Constraint(variables.back(), Relation::lessThanOrEqual, high));
        solver.addEditVariable(variables.back(), 500);
    }
    for (int round = 0; round < 50; ++round) {
        const std::size_t i = std::uniform_int_distribution<std::size_t>(0, 29)(random);
        const double suggestion = std::uniform_real_distribution(-100.0, 100.0)(random);
        solver.suggestValue(variables[i], suggestion);
        EXPECT_NEAR(solver.value(variables[i]),
                    std::clamp(suggestion, boxes[i].first, boxes[i].second), kTolerance);
    }
}

}  // namespace
}  // namespace dovrel::ui::solver

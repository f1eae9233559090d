#include "platform/ui/solver/Solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>
#include <vector>

namespace dovrel::ui::solver {
namespace {

constexpr double kTolerance = 1e-6;

Constraint eq(const Expression& lhs, const Expression& rhs, Priority priority = kRequired) {
    return Constraint(lhs, Relation::equal, rhs, priority);
}
Constraint le(const Expression& lhs, const Expression& rhs, Priority priority = kRequired) {
    return Constraint(lhs, Relation::lessThanOrEqual, rhs, priority);
}
Constraint ge(const Expression& lhs, const Expression& rhs, Priority priority = kRequired) {
    return Constraint(lhs, Relation::greaterThanOrEqual, rhs, priority);
}

SolverError::Kind kindOfError(const std::function<void()>& action) {
    try {
        action();
    } catch (const SolverError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "no SolverError";
    return SolverError::Kind::internalError;
}

TEST(Solver, ARequiredEqualityFixesTheVariable) {
    Solver solver;
    Variable x("x");
    solver.addConstraint(eq(x, 10));
    solver.updateVariables();
    EXPECT_NEAR(x.value(), 10, kTolerance);
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
}

TEST(Solver, TwoViewsOfEqualWidthShareARowWithSpacing) {
    // |-8-[left]-10-[right]-8-| in a container 300 wide: each is (300 - 26) / 2 = 137 wide.
    Solver solver;
    Variable containerWidth("container.width"), leftX("left.x"), leftWidth("left.width"),
        rightX("right.x"), rightWidth("right.width");
    solver.addConstraint(eq(containerWidth, 300));
    solver.addConstraint(eq(leftX, 8));
    solver.addConstraint(eq(rightX, leftX + leftWidth + 10));
    solver.addConstraint(eq(rightX + rightWidth + 8, containerWidth));
    solver.addConstraint(eq(leftWidth, rightWidth));
    solver.updateVariables();
    EXPECT_NEAR(leftWidth.value(), 137, kTolerance);
    EXPECT_NEAR(rightX.value(), 155, kTolerance);
    EXPECT_NEAR(rightWidth.value(), 137, kTolerance);
}

TEST(Solver, ALabelHuggingItsTextLeavesTheRestToTheField) {
    // [label]-8-[field] across 400 points; the label hugs its 120-point text at 750, the field
    // hugs its 80 at 250: the label keeps its size and the field takes the rest.
    Solver solver;
    Variable labelX("label.x"), labelWidth("label.width"), fieldX("field.x"),
        fieldWidth("field.width");
    solver.addConstraint(eq(labelX, 0));
    solver.addConstraint(eq(fieldX, labelX + labelWidth + 8));
    solver.addConstraint(eq(fieldX + fieldWidth, 400));
    solver.addConstraint(ge(labelWidth, 120));  // compression resistance, required here
    solver.addConstraint(le(labelWidth, 120, 750));
    solver.addConstraint(ge(fieldWidth, 80));
    solver.addConstraint(le(fieldWidth, 80, 250));
    solver.updateVariables();
    EXPECT_NEAR(labelWidth.value(), 120, kTolerance);
    EXPECT_NEAR(fieldX.value(), 128, kTolerance);
    EXPECT_NEAR(fieldWidth.value(), 272, kTolerance);
}

TEST(Solver, ARequiredInequalityBeatsAPreference) {
    Solver solver;
    Variable x("x");
    solver.addConstraint(ge(x, 100));
    solver.addConstraint(eq(x, 50, 250));
    EXPECT_NEAR(solver.value(x), 100, kTolerance);
}

TEST(Solver, AHigherPriorityWinsOverAnyNumberOfLowerOnes) {
    // Priorities are compared lexicographically: a hundred preferences at 250 pulling to 20
    // do not move a variable held at 10 by one preference at 251.
    Solver solver;
    Variable x("x");
    solver.addConstraint(eq(x, 10, 251));
    for (int i = 0; i < 100; ++i)
        solver.addConstraint(eq(x, 20, 250));
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
}

TEST(Solver, PreferencesOfOnePriorityShareTheirError) {
    Solver solver;
    Variable x("x");
    solver.addConstraint(eq(x, 10, 500));
    solver.addConstraint(eq(x, 10, 500));
    solver.addConstraint(eq(x, 20, 500));
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
}

TEST(Solver, AnInequalityPreferenceGivesWayToARequiredBound) {
    Solver solver;
    Variable x("x");
    solver.addConstraint(le(x, 5, 500));
    solver.addConstraint(ge(x, 10));
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
}

TEST(Solver, RemovingAConstraintGivesBackTheLayoutWithoutIt) {
    Solver solver;
    Variable x("x");
    const Constraint strong = eq(x, 10, 750);
    solver.addConstraint(eq(x, 40, 250));
    solver.addConstraint(strong);
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
    solver.removeConstraint(strong);
    EXPECT_FALSE(solver.hasConstraint(strong));
    EXPECT_NEAR(solver.value(x), 40, kTolerance);
}

TEST(Solver, AnEditVariableFollowsItsSuggestionsWithinTheConstraints) {
    // A window whose width is edited; a view inset by 20 on each side, at least 100 wide.
    Solver solver;
    Variable window("window.width"), viewX("view.x"), viewWidth("view.width");
    solver.addConstraint(eq(viewX, 20));
    solver.addConstraint(eq(viewX + viewWidth + 20, window, 750));
    solver.addConstraint(ge(viewWidth, 100));
    solver.addEditVariable(window, kDefaultHigh - 1);
    solver.suggestValue(window, 400);
    EXPECT_NEAR(solver.value(viewWidth), 360, kTolerance);
    solver.suggestValue(window, 800);
    EXPECT_NEAR(solver.value(viewWidth), 760, kTolerance);
    solver.suggestValue(window, 50);  // too narrow: the view keeps 100 and the window gives way
    EXPECT_NEAR(solver.value(viewWidth), 100, kTolerance);
    solver.removeEditVariable(window);
    EXPECT_FALSE(solver.hasEditVariable(window));
}

TEST(Solver, ChangingAConstantMovesWhatDependsOnIt) {
    Solver solver;
    Variable top("top"), bottom("bottom");
    const Constraint spacing = eq(bottom, top + 8);
    solver.addConstraint(eq(top, 100));
    solver.addConstraint(spacing);
    EXPECT_NEAR(solver.value(bottom), 108, kTolerance);
    solver.changeConstant(spacing, -30);  // bottom - top - 30 == 0
    EXPECT_NEAR(solver.value(bottom), 130, kTolerance);
    EXPECT_DOUBLE_EQ(spacing.expression().constant, -30);
}

TEST(Solver, ChangingAPriorityReordersPreferences) {
    Solver solver;
    Variable x("x");
    const Constraint toTen = eq(x, 10, 300);
    solver.addConstraint(toTen);
    solver.addConstraint(eq(x, 20, 400));
    EXPECT_NEAR(solver.value(x), 20, kTolerance);
    solver.changePriority(toTen, 500);
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
    EXPECT_EQ(toTen.priority(), 500);
}

TEST(Solver, ConflictingRequiredEqualitiesAreRefusedAndTheFirstStays) {
    Solver solver;
    Variable x("x");
    solver.addConstraint(eq(x, 10));
    const Constraint conflicting = eq(x, 20);
    try {
        solver.addConstraint(conflicting);
        FAIL() << "accepted a conflicting constraint";
    } catch (const SolverError& error) {
        EXPECT_EQ(error.kind(), SolverError::Kind::unsatisfiableConstraint);
        EXPECT_NE(std::string(error.what()).find("x - 20 == 0"), std::string::npos) << error.what();
    }
    EXPECT_FALSE(solver.hasConstraint(conflicting));
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
}

TEST(Solver, ARedundantRequiredEqualityIsAccepted) {
    Solver solver;
    Variable x("x"), y("y");
    solver.addConstraint(eq(x + y, 10));
    solver.addConstraint(eq(x - y, 2));
    solver.addConstraint(eq(2 * x, 12));  // implied by the two above
    EXPECT_NEAR(solver.value(x), 6, kTolerance);
    EXPECT_NEAR(solver.value(y), 4, kTolerance);
}

TEST(Solver, ConflictingRequiredInequalitiesAreRefusedAndNothingChanges) {
    Solver solver;
    Variable x("x"), y("y");
    solver.addConstraint(ge(x, 10));
    solver.addConstraint(ge(y, 10));
    solver.addConstraint(eq(x, 12, 250));
    solver.addConstraint(eq(y, 11, 250));
    const Constraint tooSmall = le(x + y, 15);
    EXPECT_EQ(kindOfError([&] { solver.addConstraint(tooSmall); }),
              SolverError::Kind::unsatisfiableConstraint);
    EXPECT_FALSE(solver.hasConstraint(tooSmall));
    EXPECT_NEAR(solver.value(x), 12, kTolerance);
    EXPECT_NEAR(solver.value(y), 11, kTolerance);
    // The solver goes on working.
    solver.addConstraint(le(x + y, 21));
    EXPECT_NEAR(solver.value(x) + solver.value(y), 21, kTolerance);
    EXPECT_GE(solver.value(x), 10 - kTolerance);
    EXPECT_GE(solver.value(y), 10 - kTolerance);
}

TEST(Solver, AConstantChangeThatBreaksARequiredConstraintIsRefusedAndUndone) {
    Solver solver;
    Variable x("x");
    const Constraint atLeast = ge(x, 10);  // x - 10 >= 0
    solver.addConstraint(atLeast);
    solver.addConstraint(le(x, 20));
    solver.addConstraint(eq(x, 15, 250));
    EXPECT_EQ(kindOfError([&] { solver.changeConstant(atLeast, -30); }),
              SolverError::Kind::unsatisfiableConstraint);
    EXPECT_DOUBLE_EQ(atLeast.expression().constant, -10);
    EXPECT_NEAR(solver.value(x), 15, kTolerance);
    solver.changeConstant(atLeast, -18);
    EXPECT_NEAR(solver.value(x), 18, kTolerance);
}

TEST(Solver, AConstantChangeThatBreaksARedundantEqualityIsRefused) {
    Solver solver;
    Variable x("x");
    solver.addConstraint(eq(x, 10));
    const Constraint again = eq(x, 10);
    solver.addConstraint(again);
    EXPECT_EQ(kindOfError([&] { solver.changeConstant(again, -20); }),
              SolverError::Kind::unsatisfiableConstraint);
    EXPECT_NEAR(solver.value(x), 10, kTolerance);
    EXPECT_DOUBLE_EQ(again.expression().constant, -10);
}

TEST(Solver, MisuseIsReportedByKind) {
    Solver solver;
    Variable x("x");
    const Constraint constraint = eq(x, 1);
    solver.addConstraint(constraint);
    EXPECT_EQ(kindOfError([&] { solver.addConstraint(constraint); }),
              SolverError::Kind::duplicateConstraint);
    EXPECT_EQ(kindOfError([&] { solver.removeConstraint(eq(x, 1)); }),
              SolverError::Kind::unknownConstraint);
    EXPECT_EQ(kindOfError([&] { solver.changeConstant(eq(x, 1), 2); }),
              SolverError::Kind::unknownConstraint);
    EXPECT_EQ(kindOfError([&] { eq(x, 1, 0); }), SolverError::Kind::badPriority);
    EXPECT_EQ(kindOfError([&] { eq(x, 1, 1001); }), SolverError::Kind::badPriority);
    EXPECT_EQ(kindOfError([&] { eq(x, 1, std::nan("")); }), SolverError::Kind::badPriority);
    EXPECT_EQ(kindOfError([&] { eq(x, std::numeric_limits<double>::infinity()); }),
              SolverError::Kind::nonFiniteValue);
    EXPECT_EQ(kindOfError([&] { solver.changeConstant(constraint, std::nan("")); }),
              SolverError::Kind::nonFiniteValue);
    EXPECT_EQ(kindOfError([&] { solver.changePriority(constraint, 500); }),
              SolverError::Kind::badRequiredStrength);
    Variable width("width");
    EXPECT_EQ(kindOfError([&] { solver.addEditVariable(width, kRequired); }),
              SolverError::Kind::badRequiredStrength);
    solver.addEditVariable(width, 500);
    EXPECT_EQ(kindOfError([&] { solver.addEditVariable(width, 500); }),
              SolverError::Kind::duplicateEditVariable);
    EXPECT_EQ(kindOfError([&] { solver.suggestValue(Variable("other"), 1); }),
              SolverError::Kind::unknownEditVariable);
    EXPECT_EQ(kindOfError([&] { solver.suggestValue(width, INFINITY); }),
              SolverError::Kind::nonFiniteValue);
    EXPECT_EQ(kindOfError([&] { solver.removeEditVariable(Variable("other")); }),
              SolverError::Kind::unknownEditVariable);
}

TEST(Solver, TermsOfOneVariableAreMergedAndDescribed) {
    Variable x("x"), y("y");
    const Constraint constraint = ge(x + 2 * y - x * 3 + 4, y);
    ASSERT_EQ(constraint.expression().terms.size(), 2u);
    EXPECT_EQ(constraint.description(), "-2*x + y + 4 >= 0 (priority 1000)");
}

TEST(Solver, ResetForgetsEverything) {
    Solver solver;
    Variable x("x");
    const Constraint constraint = eq(x, 5);
    solver.addConstraint(constraint);
    solver.updateVariables();
    solver.reset();
    EXPECT_FALSE(solver.hasConstraint(constraint));
    EXPECT_EQ(solver.value(x), 0);
    solver.addConstraint(constraint);
    EXPECT_NEAR(solver.value(x), 5, kTolerance);
}

TEST(Solver, AVariableNoConstraintNamesIsForgotten) {
    Solver solver;
    Variable x("x");
    const Constraint constraint = eq(x, 5);
    solver.addConstraint(constraint);
    solver.updateVariables();
    solver.removeConstraint(constraint);
    solver.updateVariables();
    EXPECT_EQ(solver.value(x), 0);
    EXPECT_EQ(x.value(), 0);
}

// A column of views, each pinned below the one before: tops[i] = tops[i-1] + height + spacing.
struct Chain {
    Solver solver;
    std::vector<Variable> tops;
    std::vector<Constraint> links;
    Constraint head{Variable(), Relation::equal, 0.0};

    explicit Chain(int length) {
        tops.resize(length);
        head = eq(tops[0], 8);
        solver.addConstraint(head);
        for (int i = 1; i < length; ++i) {
            links.push_back(eq(tops[i], tops[i - 1] + 40));
            solver.addConstraint(links.back());
        }
        solver.updateVariables();
    }
};

TEST(Solver, AChainOfViewsIsPlacedOneBelowTheOther) {
    Chain chain(500);
    for (int i = 0; i < 500; ++i) {
        ASSERT_NEAR(chain.tops[i].value(), 8 + 40 * i, kTolerance) << i;
    }
    EXPECT_NEAR(chain.solver.value(chain.tops[499]), 8 + 40 * 499, kTolerance);
}

TEST(Solver, MovingTheHeadOfAChainMovesEveryViewBelowIt) {
    Chain chain(100);
    chain.solver.changeConstant(chain.head, -20);  // tops[0] - 20 == 0
    chain.solver.updateVariables();
    for (int i = 0; i < 100; ++i) {
        ASSERT_NEAR(chain.tops[i].value(), 20 + 40 * i, kTolerance) << i;
    }
    // A link in the middle: only the views below it move.
    chain.solver.changeConstant(chain.links[49], -50);  // tops[50] - tops[49] - 50 == 0
    chain.solver.updateVariables();
    EXPECT_NEAR(chain.tops[49].value(), 20 + 40 * 49, kTolerance);
    EXPECT_NEAR(chain.tops[50].value(), 20 + 40 * 49 + 50, kTolerance);
    EXPECT_NEAR(chain.tops[99].value(), 20 + 40 * 98 + 50, kTolerance);
}

TEST(Solver, ALinkTakenOutOfAChainLetsTheViewsBelowItFollowTheirOtherConstraints) {
    Chain chain(50);
    // The last view also prefers to sit at 1000; with its link gone the views below the cut
    // follow it.
    chain.solver.addConstraint(eq(chain.tops[49], 1000, 500));
    chain.solver.removeConstraint(chain.links[29]);  // between tops[29] and tops[30]
    chain.solver.updateVariables();
    EXPECT_NEAR(chain.tops[29].value(), 8 + 40 * 29, kTolerance);
    EXPECT_NEAR(chain.tops[49].value(), 1000, kTolerance);
    EXPECT_NEAR(chain.tops[30].value(), 1000 - 40 * 19, kTolerance);
    // Put back, the chain holds again over the preference.
    chain.solver.addConstraint(chain.links[29]);
    chain.solver.updateVariables();
    EXPECT_NEAR(chain.tops[49].value(), 8 + 40 * 49, kTolerance);
}

TEST(Solver, AViewInTheMiddleOfAChainCanLoseItsConstraintsWhileOthersStillReferToIt) {
    Chain chain(10);
    // tops[5] keeps the links above and below; taking away an unrelated constraint naming it
    // must not lose the value the views below it are placed from.
    const Constraint extra = ge(chain.tops[5], 0);
    chain.solver.addConstraint(extra);
    chain.solver.removeConstraint(extra);
    chain.solver.removeConstraint(chain.links[4]);  // tops[5] = tops[4] + 40
    chain.solver.removeConstraint(chain.links[5]);  // tops[6] = tops[5] + 40
    chain.solver.updateVariables();
    EXPECT_NEAR(chain.tops[4].value(), 8 + 40 * 4, kTolerance);
    // tops[6..9] still hang together 40 apart, wherever the solver put them.
    for (int i = 7; i < 10; ++i) {
        EXPECT_NEAR(chain.tops[i].value() - chain.tops[i - 1].value(), 40, kTolerance) << i;
    }
    chain.solver.addConstraint(eq(chain.tops[6], 500));
    chain.solver.updateVariables();
    EXPECT_NEAR(chain.tops[9].value(), 620, kTolerance);
}

}  // namespace
}  // namespace dovrel::ui::solver

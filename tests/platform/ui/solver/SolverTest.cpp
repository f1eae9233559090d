#include "platform/ui/solver/Solver.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <random>

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

}  // namespace
}  // namespace dovrel::ui::solver

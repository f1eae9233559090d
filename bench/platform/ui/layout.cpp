// Laying out a column of 200 rows of three views (a colour dot 24 wide, a name taking the rest,
// a check box 40 wide; rows 32 high, 8 apart, 8 from the edges, in a column 400 wide) with the
// layout solver, against Qt's own QVBoxLayout of QHBoxLayouts giving the same geometry.
//
// "first layout": the constraints of every view made and added, solved, and every widget placed;
// against the first activation of the Qt layouts (which computes their size hints too). The
// widgets are made outside the timing in both. "constant change": the first row's distance from
// the top changes from 8 to 12, the solver re-solves incrementally and every widget is placed
// again; compared with the solver's own first layout.

#include <benchmark/benchmark.h>
#include <QApplication>
#include <QHBoxLayout>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdlib>
#include <memory>
#include <vector>

#include "bench/support/CollectingReporter.h"
#include "bench/support/Figures.h"
#include "platform/ui/solver/Solver.h"

namespace {

using dovrel::ui::solver::Constraint;
using dovrel::ui::solver::Relation;
using dovrel::ui::solver::Solver;
using dovrel::ui::solver::Variable;

constexpr int kRows = 200;
constexpr int kWidth = 400;
constexpr int kRowHeight = 32;
constexpr int kSpacing = 8;
constexpr int kDotWidth = 24;
constexpr int kBoxWidth = 40;
constexpr int kHeight = kSpacing + kRows * (kRowHeight + kSpacing);

// The column's widgets: three per row, children of one container.
struct Column {
    std::unique_ptr<QWidget> container = std::make_unique<QWidget>();
    std::vector<QWidget*> views;

    Column() {
        container->resize(kWidth, kHeight);
        for (int i = 0; i < 3 * kRows; ++i)
            views.push_back(new QWidget(container.get()));
    }
};

// The same column with Qt's box layouts: fixed widths for the dot and the box, the name
// stretching, fixed heights.
void layOutWithBoxLayouts(Column& column) {
    auto* rows = new QVBoxLayout(column.container.get());
    rows->setContentsMargins(kSpacing, kSpacing, kSpacing, kSpacing);
    rows->setSpacing(kSpacing);
    for (int row = 0; row < kRows; ++row) {
        auto* line = new QHBoxLayout;
        line->setContentsMargins(0, 0, 0, 0);
        line->setSpacing(kSpacing);
        QWidget* dot = column.views[3 * row];
        QWidget* name = column.views[3 * row + 1];
        QWidget* box = column.views[3 * row + 2];
        dot->setFixedSize(kDotWidth, kRowHeight);
        name->setFixedHeight(kRowHeight);
        name->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
        box->setFixedSize(kBoxWidth, kRowHeight);
        line->addWidget(dot);
        line->addWidget(name, 1);
        line->addWidget(box);
        rows->addLayout(line);
    }
    rows->addStretch(1);
    rows->activate();
}

// The same column with constraints, as anchors make them: each view's left, top, width and
// height are variables; the dot is pinned to the column's leading edge, the name to the dot's
// trailing edge, the box to the name's and to the column's trailing edge; each row's top to the
// previous row's bottom.
struct SolvedColumn {
    Solver solver;
    std::vector<Variable> left, top, width, height;
    Constraint firstTop{Variable(), Relation::equal, 0.0};

    explicit SolvedColumn(const Column& column) {
        const std::size_t count = column.views.size();
        left.resize(count);
        top.resize(count);
        width.resize(count);
        height.resize(count);
        Variable columnWidth("column.width");
        solver.addConstraint(Constraint(columnWidth, Relation::equal, kWidth));
        for (int row = 0; row < kRows; ++row) {
            const std::size_t dot = 3 * row, name = dot + 1, box = dot + 2;
            if (row == 0) {
                firstTop = Constraint(top[dot], Relation::equal, kSpacing);
                solver.addConstraint(firstTop);
            } else {
                solver.addConstraint(Constraint(top[dot], Relation::equal,
                                                top[dot - 3] + height[dot - 3] + kSpacing));
            }
            for (const std::size_t view : {dot, name, box}) {
                solver.addConstraint(Constraint(height[view], Relation::equal, kRowHeight));
                if (view != dot)
                    solver.addConstraint(Constraint(top[view], Relation::equal, top[dot]));
                solver.addConstraint(Constraint(width[view], Relation::greaterThanOrEqual, 0.0));
            }
            solver.addConstraint(Constraint(left[dot], Relation::equal, kSpacing));
            solver.addConstraint(Constraint(width[dot], Relation::equal, kDotWidth));
            solver.addConstraint(
                Constraint(left[name], Relation::equal, left[dot] + width[dot] + kSpacing));
            solver.addConstraint(
                Constraint(left[box], Relation::equal, left[name] + width[name] + kSpacing));
            solver.addConstraint(Constraint(width[box], Relation::equal, kBoxWidth));
            solver.addConstraint(
                Constraint(left[box] + width[box] + kSpacing, Relation::equal, columnWidth));
        }
    }

    void place(Column& column) {
        solver.updateVariables();
        for (std::size_t view = 0; view < column.views.size(); ++view) {
            column.views[view]->setGeometry(static_cast<int>(std::lround(left[view].value())),
                                            static_cast<int>(std::lround(top[view].value())),
                                            static_cast<int>(std::lround(width[view].value())),
                                            static_cast<int>(std::lround(height[view].value())));
        }
    }
};

std::vector<QRect> geometries(const Column& column) {
    std::vector<QRect> result;
    for (const QWidget* view : column.views)
        result.push_back(view->geometry());
    return result;
}

// Both ways must give the same geometry, or the comparison means nothing.
bool sameGeometryBothWays() {
    Column boxes, solved;
    layOutWithBoxLayouts(boxes);
    SolvedColumn layout(solved);
    layout.place(solved);
    return geometries(boxes) == geometries(solved) &&
           boxes.views[1]->geometry() == QRect(kSpacing + kDotWidth + kSpacing, kSpacing,
                                               kWidth - 4 * kSpacing - kDotWidth - kBoxWidth,
                                               kRowHeight);
}

void firstLayoutWithQtBoxLayouts(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto column = std::make_unique<Column>();
        state.ResumeTiming();
        layOutWithBoxLayouts(*column);
        state.PauseTiming();
        column.reset();
        state.ResumeTiming();
    }
}

void firstLayoutWithTheSolver(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto column = std::make_unique<Column>();
        state.ResumeTiming();
        auto layout = std::make_unique<SolvedColumn>(*column);
        layout->place(*column);
        state.PauseTiming();
        layout.reset();
        column.reset();
        state.ResumeTiming();
    }
}

void constantChangeWithTheSolver(benchmark::State& state) {
    Column column;
    SolvedColumn layout(column);
    layout.place(column);
    double constant = -kSpacing;
    for (auto _ : state) {
        constant = constant == -kSpacing ? -kSpacing - 4 : -kSpacing;
        layout.solver.changeConstant(layout.firstTop, constant);
        layout.place(column);
    }
    if (column.views.back()->geometry().top() < kHeight - kRowHeight - kSpacing - 4) {
        state.SkipWithError("the relayout did not move the last row");
    }
}

}  // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    if (!sameGeometryBothWays()) {
        std::fprintf(stderr, "The solver and the box layouts do not give the same geometry\n");
        return 1;
    }
    const auto qtName = "first_layout/qt_box_layouts/200_rows";
    const auto solverName = "first_layout/solver/200_rows";
    const auto changeName = "constant_change/solver/200_rows";
    benchmark::RegisterBenchmark(qtName, firstLayoutWithQtBoxLayouts)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    benchmark::RegisterBenchmark(solverName, firstLayoutWithTheSolver)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    benchmark::RegisterBenchmark(changeName, constantChangeWithTheSolver)
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
    dovrel::bench::CollectingReporter reporter;
    return dovrel::bench::runBenchmarks(argc, argv, 7, &reporter, [&] {
        const auto& repetitions = reporter.repetitions;
        const auto qt = repetitions.find(std::string(qtName) + "/real_time");
        const auto solver = repetitions.find(std::string(solverName) + "/real_time");
        const auto change = repetitions.find(std::string(changeName) + "/real_time");
        if (qt == repetitions.end() || solver == repetitions.end() || change == repetitions.end()) {
            return;
        }
        auto& figures = dovrel::bench::Figures::shared();
        const std::size_t count =
            std::min({qt->second.size(), solver->second.size(), change->second.size()});
        for (std::size_t i = 0; i < count; ++i) {
            figures.record("ratio first layout of 200 rows, solver / Qt box layouts",
                           solver->second[i].real / qt->second[i].real, "x", 3.0);
            figures.record("ratio relayout after one constant change / first layout",
                           change->second[i].real / solver->second[i].real, "x", 0.2);
        }
        for (const auto& timing : solver->second) {
            figures.record("time first layout of 200 rows with the solver", timing.real / 1e6, "ms",
                           dovrel::bench::kNoAim);
        }
        for (const auto& timing : qt->second) {
            figures.record("time first layout of 200 rows with Qt box layouts", timing.real / 1e6,
                           "ms", dovrel::bench::kNoAim);
        }
    });
}

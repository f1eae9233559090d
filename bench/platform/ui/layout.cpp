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
#include "platform/ui/LayoutAnchor.h"
#include "platform/ui/LayoutConstraint.h"
#include "platform/ui/View.h"
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

// The same column pinned with anchors, as a screen of the application does it, and laid out by
// the kit's layout engine (one solver per window, views placed with setGeometry).
struct AnchoredColumn {
    std::vector<dovrel::ui::LayoutConstraint> constraints;
    dovrel::ui::LayoutConstraint firstTop;

    explicit AnchoredColumn(Column& column) : firstTop(makeConstraints(column, constraints)) {}

    static dovrel::ui::LayoutConstraint makeConstraints(
        Column& column, std::vector<dovrel::ui::LayoutConstraint>& constraints) {
        using dovrel::ui::View;
        const View container(column.container.get());
        std::optional<dovrel::ui::LayoutConstraint> first;
        for (int row = 0; row < kRows; ++row) {
            const View dot(column.views[3 * row]), name(column.views[3 * row + 1]),
                box(column.views[3 * row + 2]);
            for (const View& view : {dot, name, box}) {
                view.widget()->setAttribute(Qt::WA_DontShowOnScreen);
                View(view).setTranslatesAutoresizingMaskIntoConstraints(false);
                constraints.push_back(view.heightAnchor().constraintEqualToConstant(kRowHeight));
            }
            auto top = row == 0 ? dot.topAnchor().constraintEqualTo(container.topAnchor(), kSpacing)
                                : dot.topAnchor().constraintEqualTo(
                                      View(column.views[3 * row - 3]).bottomAnchor(), kSpacing);
            if (row == 0)
                first = top;
            constraints.push_back(top);
            constraints.push_back(name.topAnchor().constraintEqualTo(dot.topAnchor()));
            constraints.push_back(box.topAnchor().constraintEqualTo(dot.topAnchor()));
            constraints.push_back(
                dot.leadingAnchor().constraintEqualTo(container.leadingAnchor(), kSpacing));
            constraints.push_back(dot.widthAnchor().constraintEqualToConstant(kDotWidth));
            constraints.push_back(
                name.leadingAnchor().constraintEqualTo(dot.trailingAnchor(), kSpacing));
            constraints.push_back(
                box.leadingAnchor().constraintEqualTo(name.trailingAnchor(), kSpacing));
            constraints.push_back(box.widthAnchor().constraintEqualToConstant(kBoxWidth));
            constraints.push_back(
                box.trailingAnchor().constraintEqualTo(container.trailingAnchor(), -kSpacing));
        }
        return *first;
    }

    void layOut(Column& column) {
        dovrel::ui::LayoutConstraint::activate(constraints);
        dovrel::ui::View(column.container.get()).layoutIfNeeded();
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
    Column boxes, solved, anchored;
    layOutWithBoxLayouts(boxes);
    SolvedColumn layout(solved);
    layout.place(solved);
    AnchoredColumn anchors(anchored);
    anchors.layOut(anchored);
    return geometries(boxes) == geometries(solved) && geometries(boxes) == geometries(anchored) &&
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

void firstLayoutWithAnchors(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto column = std::make_unique<Column>();
        auto anchors = std::make_unique<AnchoredColumn>(*column);
        state.ResumeTiming();
        anchors->layOut(*column);
        state.PauseTiming();
        anchors.reset();
        column.reset();
        state.ResumeTiming();
    }
}

// Closing: the laid-out column destroyed with all its widgets, as when a window closes.
void closeWithQtBoxLayouts(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto column = std::make_unique<Column>();
        layOutWithBoxLayouts(*column);
        state.ResumeTiming();
        column.reset();
    }
}

void closeWithAnchors(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        auto column = std::make_unique<Column>();
        auto anchors = std::make_unique<AnchoredColumn>(*column);
        anchors->layOut(*column);
        state.ResumeTiming();
        column.reset();
        anchors.reset();
    }
}

void constantChangeWithAnchors(benchmark::State& state) {
    Column column;
    AnchoredColumn anchors(column);
    anchors.layOut(column);
    double constant = kSpacing;
    for (auto _ : state) {
        constant = constant == kSpacing ? kSpacing + 4 : kSpacing;
        anchors.firstTop.setConstant(constant);
        dovrel::ui::View(column.container.get()).layoutIfNeeded();
    }
    if (column.views.front()->geometry().top() != static_cast<int>(constant)) {
        state.SkipWithError("the relayout did not move the first row");
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
    const std::string qtName = "first_layout/qt_box_layouts/200_rows";
    const std::string anchorsName = "first_layout/anchors/200_rows";
    const std::string anchorsChangeName = "constant_change/anchors/200_rows";
    const std::string solverName = "first_layout/solver_alone/200_rows";
    const std::string solverChangeName = "constant_change/solver_alone/200_rows";
    const std::string qtCloseName = "close/qt_box_layouts/200_rows";
    const std::string anchorsCloseName = "close/anchors/200_rows";
    const std::pair<const std::string*, void (*)(benchmark::State&)> benchmarks[] = {
        {&qtName, firstLayoutWithQtBoxLayouts},
        {&anchorsName, firstLayoutWithAnchors},
        {&anchorsChangeName, constantChangeWithAnchors},
        {&solverName, firstLayoutWithTheSolver},
        {&solverChangeName, constantChangeWithTheSolver},
        {&qtCloseName, closeWithQtBoxLayouts},
        {&anchorsCloseName, closeWithAnchors},
    };
    for (const auto& [name, function] : benchmarks) {
        benchmark::RegisterBenchmark(name->c_str(), function)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
    }
    dovrel::bench::CollectingReporter reporter;
    return dovrel::bench::runBenchmarks(argc, argv, 7, &reporter, [&] {
        const auto& repetitions = reporter.repetitions;
        auto timings = [&](const std::string& name) -> const std::vector<dovrel::bench::Timing>* {
            const auto found = repetitions.find(name + "/real_time");
            return found == repetitions.end() ? nullptr : &found->second;
        };
        const auto* qt = timings(qtName);
        const auto* anchors = timings(anchorsName);
        const auto* anchorsChange = timings(anchorsChangeName);
        const auto* solver = timings(solverName);
        const auto* solverChange = timings(solverChangeName);
        const auto* qtClose = timings(qtCloseName);
        const auto* anchorsClose = timings(anchorsCloseName);
        if (!qt || !anchors || !anchorsChange || !solver || !solverChange || !qtClose ||
            !anchorsClose)
            return;
        auto& figures = dovrel::bench::Figures::shared();
        const std::size_t count =
            std::min({qt->size(), anchors->size(), anchorsChange->size(), solver->size(),
                      solverChange->size(), qtClose->size(), anchorsClose->size()});
        for (std::size_t i = 0; i < count; ++i) {
            figures.record("ratio first layout of 200 rows with anchors / Qt box layouts",
                           (*anchors)[i].real / (*qt)[i].real, "x", 3.0);
            figures.record("ratio relayout after one constant change / first layout, anchors",
                           (*anchorsChange)[i].real / (*anchors)[i].real, "x", 0.2);
            figures.record("ratio first layout of 200 rows, solver alone / Qt box layouts",
                           (*solver)[i].real / (*qt)[i].real, "x", dovrel::bench::kNoAim);
            figures.record("ratio relayout after one constant change / first layout, solver alone",
                           (*solverChange)[i].real / (*solver)[i].real, "x", dovrel::bench::kNoAim);
            figures.record("ratio closing the column of 200 rows with anchors / Qt box layouts",
                           (*anchorsClose)[i].real / (*qtClose)[i].real, "x",
                           dovrel::bench::kNoAim);
        }
        for (const auto& [label, list] :
             {std::pair{"time first layout of 200 rows with anchors", anchors},
              std::pair{"time first layout of 200 rows with Qt box layouts", qt},
              std::pair{"time relayout after one constant change with anchors", anchorsChange}}) {
            for (const auto& timing : *list) {
                figures.record(label, timing.real / 1e6, "ms", dovrel::bench::kNoAim);
            }
        }
    });
}

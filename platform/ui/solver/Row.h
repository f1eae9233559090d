#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "platform/ui/solver/SmallVector.h"

namespace dovrel::ui::solver::detail {

// A symbol of the tableau: a dense index into the solver's symbol table.
using SymbolId = std::uint32_t;

// What a symbol stands for:
//   external  a Variable; unrestricted (may take any value);
//   slack     the gap of an inequality, >= 0;
//   error     the violation of a preference, >= 0, costed in the objective;
//   dummy     the marker of a required equality: fixed at 0, never enters the basis.
enum class SymbolKind : std::uint8_t { external, slack, error, dummy };

// Slack and error symbols are bounded below by 0: only they take part in ratio tests and only
// they may enter the basis during optimisation.
inline bool isRestricted(SymbolKind kind) {
    return kind == SymbolKind::slack || kind == SymbolKind::error;
}

// Coefficients and constants smaller than this in magnitude are taken as zero.
inline constexpr double kEpsilon = 1e-8;

inline bool nearZero(double value) {
    return value < kEpsilon && value > -kEpsilon;
}

struct Cell {
    SymbolId symbol;
    double coefficient;
};

// A row keeps this many cells inline: enough for most rows of a layout (a view's edge pinned to
// another's with a constant holds the other's symbols and a marker), so that adding a layout's
// constraints allocates only for the longer rows.
inline constexpr std::size_t kInlineCells = 4;
using Cells = SmallVector<Cell, kInlineCells>;

// A linear form `constant + sum(coefficient * symbol)`, its cells sorted by symbol and none
// near zero. As a tableau row it reads `basic = constant + cells`; while a constraint is being
// added it reads `0 = constant + cells`.
//
// The operations that can make a symbol appear report it to `appeared(symbol)`, so that the
// solver can keep its column index (which rows hold a symbol) without searching rows.
class Row {
  public:
    Row() = default;
    explicit Row(double constant) : constant_(constant) {}

    const Cells& cells() const { return cells_; }
    void reserve(std::size_t cells) { cells_.reserve(cells); }
    bool empty() const { return cells_.empty(); }
    double constant() const { return constant_; }
    void addToConstant(double value) { constant_ += value; }

    // The coefficient of `symbol`, 0 when the row does not hold it.
    double coefficientFor(SymbolId symbol) const {
        const auto found = lowerBound(symbol);
        return found != cells_.end() && found->symbol == symbol ? found->coefficient : 0.0;
    }

    // Adds `coefficient * symbol`; a coefficient that cancels to near zero removes the cell.
    template <typename Appeared>
    void insert(SymbolId symbol, double coefficient, Appeared&& appeared) {
        auto found = lowerBound(symbol);
        if (found != cells_.end() && found->symbol == symbol) {
            found->coefficient += coefficient;
            if (nearZero(found->coefficient))
                cells_.erase(found);
        } else if (!nearZero(coefficient)) {
            cells_.insert(found, Cell{symbol, coefficient});
            appeared(symbol);
        }
    }
    void insert(SymbolId symbol, double coefficient) {
        insert(symbol, coefficient, [](SymbolId) {});
    }

    // Adds `factor * other`, constant included, by one merge of the two sorted cell lists into
    // a buffer kept per thread (so that merging allocates only when rows grow).
    template <typename Appeared>
    void insert(const Row& other, double factor, Appeared&& appeared) {
        constant_ += other.constant_ * factor;
        if (other.cells_.empty())
            return;
        thread_local std::vector<Cell> merged;
        merged.clear();
        merged.reserve(cells_.size() + other.cells_.size());
        auto mine = cells_.begin();
        auto theirs = other.cells_.begin();
        const auto mineEnd = cells_.end();
        const auto theirsEnd = other.cells_.end();
        while (mine != mineEnd && theirs != theirsEnd) {
            if (mine->symbol < theirs->symbol) {
                merged.push_back(*mine++);
            } else if (theirs->symbol < mine->symbol) {
                const double coefficient = theirs->coefficient * factor;
                if (!nearZero(coefficient)) {
                    merged.push_back(Cell{theirs->symbol, coefficient});
                    appeared(theirs->symbol);
                }
                ++theirs;
            } else {
                const double coefficient = mine->coefficient + theirs->coefficient * factor;
                if (!nearZero(coefficient))
                    merged.push_back(Cell{mine->symbol, coefficient});
                ++mine;
                ++theirs;
            }
        }
        merged.insert(merged.end(), mine, mineEnd);
        for (; theirs != theirsEnd; ++theirs) {
            const double coefficient = theirs->coefficient * factor;
            if (!nearZero(coefficient)) {
                merged.push_back(Cell{theirs->symbol, coefficient});
                appeared(theirs->symbol);
            }
        }
        cells_.assign(merged.data(), merged.data() + merged.size());
    }

    // Removes the cell of `symbol`, returning its coefficient (0 when absent).
    double remove(SymbolId symbol) {
        auto found = lowerBound(symbol);
        if (found == cells_.end() || found->symbol != symbol)
            return 0.0;
        const double coefficient = found->coefficient;
        cells_.erase(found);
        return coefficient;
    }

    void reverseSign() {
        constant_ = -constant_;
        for (Cell& cell : cells_)
            cell.coefficient = -cell.coefficient;
    }

    // Reads `0 = this` as `symbol = ...`: removes `symbol` and divides the rest by minus its
    // coefficient. The row must hold `symbol`.
    void solveFor(SymbolId symbol) {
        const double coefficient = -1.0 / remove(symbol);
        constant_ *= coefficient;
        for (Cell& cell : cells_)
            cell.coefficient *= coefficient;
    }

    // Reads `lhs = this` as `rhs = ...`, where `rhs` is a symbol of the row.
    void solveFor(SymbolId lhs, SymbolId rhs) {
        insert(lhs, -1.0);
        solveFor(rhs);
    }

    // Replaces `symbol` by `expression` when the row holds it; returns whether it did.
    template <typename Appeared>
    bool substitute(SymbolId symbol, const Row& expression, Appeared&& appeared) {
        const double coefficient = remove(symbol);
        if (coefficient == 0.0)
            return false;
        insert(expression, coefficient, appeared);
        return true;
    }

  private:
    Cell* lowerBound(SymbolId symbol) {
        return std::lower_bound(cells_.begin(), cells_.end(), symbol,
                                [](const Cell& cell, SymbolId id) { return cell.symbol < id; });
    }
    const Cell* lowerBound(SymbolId symbol) const {
        return std::lower_bound(cells_.begin(), cells_.end(), symbol,
                                [](const Cell& cell, SymbolId id) { return cell.symbol < id; });
    }

    Cells cells_;
    double constant_ = 0.0;
};

}  // namespace dovrel::ui::solver::detail

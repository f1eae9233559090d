#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "platform/store/IndexPath.h"

namespace dovrel::ui {

using store::IndexPath;

// The row changes collected between a table's beginUpdates() and endUpdates(), and the rule that
// turns them into the table's new arrangement.
//
// As on the phone, index paths of deletions, reloads and the sources of moves refer to the rows
// before the batch; index paths of insertions and the destinations of moves to the rows after
// it. The order of the calls within a batch does not matter.
//
// apply() checks the batch against the row counts before and after (the counts the data source
// gives once the batch ends) and stops the process with a message that names the offending rows
// and counts when they disagree: a broken batch is a programming error of the caller.
class TableUpdateBatch {
  public:
    // Where a row of the new arrangement comes from.
    struct Origin {
        enum class Kind {
            inserted,  // a new row
            kept,      // an old row that stays (it may shift because others came or went)
            moved,     // an old row moved explicitly
        };
        Kind kind = Kind::inserted;
        // The row before the batch, for kept and moved rows.
        std::optional<IndexPath> oldIndexPath;
        // A kept row that was reloaded: it stays where it would have stayed, but its content is
        // new and its cell must be made again.
        bool reloaded = false;
    };

    // The new arrangement: for each section of the new counts, one origin per row.
    using Arrangement = std::vector<std::vector<Origin>>;

    void insertRows(const std::vector<IndexPath>& indexPaths);
    void deleteRows(const std::vector<IndexPath>& indexPaths);
    void reloadRows(const std::vector<IndexPath>& indexPaths);
    void moveRow(const IndexPath& from, const IndexPath& to);

    bool isEmpty() const noexcept {
        return inserts_.empty() && deletes_.empty() && reloads_.empty() && moves_.empty();
    }

    // The arrangement after the batch. `oldCounts` and `newCounts` are the rows per section
    // before and after; a batch that does not lead from one to the other stops the process.
    Arrangement apply(const std::vector<std::size_t>& oldCounts,
                      const std::vector<std::size_t>& newCounts) const;

    // Where each old row went: for each old section, the new index path of each old row
    // (reloaded rows included), or nothing for a row that was deleted.
    static std::vector<std::vector<std::optional<IndexPath>>> oldToNew(
        const Arrangement& arrangement, const std::vector<std::size_t>& oldCounts);

  private:
    struct Move {
        IndexPath from;
        IndexPath to;
    };
    std::vector<IndexPath> inserts_;
    std::vector<IndexPath> deletes_;
    std::vector<IndexPath> reloads_;
    std::vector<Move> moves_;
};

}  // namespace dovrel::ui

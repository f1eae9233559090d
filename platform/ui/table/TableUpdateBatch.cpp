#include "platform/ui/table/TableUpdateBatch.h"

#include <algorithm>
#include <set>
#include <string>

#include "platform/foundation/FatalError.h"

namespace dovrel::ui {
namespace {

std::string number(std::size_t value) {
    return std::to_string(value);
}

[[noreturn]] void invalidUpdate(const std::string& what) {
    fatalError("Invalid update: " + what);
}

// Stops the process unless `indexPath` names a row of `counts`. `verb` and `preposition` make
// the message ("delete", "from"), `when` says which counts these are.
void checkInRange(const IndexPath& indexPath, const std::vector<std::size_t>& counts,
                  const std::string& verb, const std::string& preposition,
                  const std::string& when) {
    if (indexPath.section >= counts.size()) {
        invalidUpdate("attempt to " + verb + " row " + number(indexPath.row()) + " " + preposition +
                      " section " + number(indexPath.section) + ", but there are only " +
                      number(counts.size()) + " sections " + when);
    }
    if (indexPath.row() >= counts[indexPath.section]) {
        invalidUpdate("attempt to " + verb + " row " + number(indexPath.row()) + " " + preposition +
                      " section " + number(indexPath.section) + ", but there are only " +
                      number(counts[indexPath.section]) + " rows in section " +
                      number(indexPath.section) + " " + when);
    }
}

}  // namespace

void TableUpdateBatch::insertRows(const std::vector<IndexPath>& indexPaths) {
    inserts_.insert(inserts_.end(), indexPaths.begin(), indexPaths.end());
}

void TableUpdateBatch::deleteRows(const std::vector<IndexPath>& indexPaths) {
    deletes_.insert(deletes_.end(), indexPaths.begin(), indexPaths.end());
}

void TableUpdateBatch::reloadRows(const std::vector<IndexPath>& indexPaths) {
    reloads_.insert(reloads_.end(), indexPaths.begin(), indexPaths.end());
}

void TableUpdateBatch::moveRow(const IndexPath& from, const IndexPath& to) {
    moves_.push_back({from, to});
}

TableUpdateBatch::Arrangement TableUpdateBatch::apply(
    const std::vector<std::size_t>& oldCounts, const std::vector<std::size_t>& newCounts) const {
    if (oldCounts.size() != newCounts.size()) {
        invalidUpdate(
            "invalid number of sections. The number of sections contained in the table "
            "view after the update (" +
            number(newCounts.size()) +
            ") must be equal to the number of sections contained in the table view "
            "before the update (" +
            number(oldCounts.size()) + ")");
    }

    // Every old row is touched at most once, and so is every new row.
    std::set<IndexPath> oldTouched;
    auto touchOld = [&](const IndexPath& indexPath, const std::string& verb,
                        const std::string& preposition) {
        checkInRange(indexPath, oldCounts, verb, preposition, "before the update");
        if (!oldTouched.insert(indexPath).second) {
            invalidUpdate("attempt to " + verb + " row " + number(indexPath.row()) + " " +
                          preposition + " section " + number(indexPath.section) +
                          ", which is already deleted, reloaded or moved in this update");
        }
    };
    std::set<IndexPath> newTouched;
    auto touchNew = [&](const IndexPath& indexPath, const std::string& verb,
                        const std::string& preposition) {
        checkInRange(indexPath, newCounts, verb, preposition, "after the update");
        if (!newTouched.insert(indexPath).second) {
            invalidUpdate("attempt to " + verb + " row " + number(indexPath.row()) + " " +
                          preposition + " section " + number(indexPath.section) +
                          ", which is already inserted or moved to in this update");
        }
    };
    for (const auto& indexPath : deletes_) {
        touchOld(indexPath, "delete", "from");
    }
    for (const auto& indexPath : reloads_) {
        touchOld(indexPath, "reload", "from");
    }
    for (const auto& move : moves_) {
        touchOld(move.from, "move", "from");
    }
    for (const auto& indexPath : inserts_) {
        touchNew(indexPath, "insert", "into");
    }
    for (const auto& move : moves_) {
        touchNew(move.to, "move a row", "to");
    }

    // Each section's count after the batch must follow from its count before it.
    for (std::size_t section = 0; section < oldCounts.size(); ++section) {
        auto inSection = [section](const IndexPath& indexPath) {
            return indexPath.section == section;
        };
        const auto inserted = std::count_if(inserts_.begin(), inserts_.end(), inSection);
        const auto deleted = std::count_if(deletes_.begin(), deletes_.end(), inSection);
        const auto movedIn = std::count_if(moves_.begin(), moves_.end(), [&](const Move& move) {
            return move.to.section == section && move.from.section != section;
        });
        const auto movedOut = std::count_if(moves_.begin(), moves_.end(), [&](const Move& move) {
            return move.from.section == section && move.to.section != section;
        });
        const auto expected = static_cast<std::ptrdiff_t>(oldCounts[section]) + inserted - deleted +
                              movedIn - movedOut;
        if (expected != static_cast<std::ptrdiff_t>(newCounts[section])) {
            invalidUpdate(
                "invalid number of rows in section " + number(section) +
                ". The number of rows contained in an existing section after the update (" +
                number(newCounts[section]) +
                ") must be equal to the number of rows contained in that section before the "
                "update (" +
                number(oldCounts[section]) +
                "), plus or minus the number of rows inserted or deleted from that section (" +
                std::to_string(inserted) + " inserted, " + std::to_string(deleted) +
                " deleted) and plus or minus the number of rows moved into or out of that "
                "section (" +
                std::to_string(movedIn) + " moved in, " + std::to_string(movedOut) + " moved out)");
        }
    }

    // Insertions and move destinations take their places first; the old rows that stay fill
    // the remaining places of their section in their old order.
    Arrangement arrangement(newCounts.size());
    std::vector<std::vector<bool>> placed(newCounts.size());
    for (std::size_t section = 0; section < newCounts.size(); ++section) {
        arrangement[section].resize(newCounts[section]);
        placed[section].assign(newCounts[section], false);
    }
    for (const auto& indexPath : inserts_) {
        arrangement[indexPath.section][indexPath.row()] = Origin{Origin::Kind::inserted, {}, false};
        placed[indexPath.section][indexPath.row()] = true;
    }
    for (const auto& move : moves_) {
        arrangement[move.to.section][move.to.row()] = Origin{Origin::Kind::moved, move.from, false};
        placed[move.to.section][move.to.row()] = true;
    }
    const std::set<IndexPath> reloaded(reloads_.begin(), reloads_.end());
    std::set<IndexPath> gone(deletes_.begin(), deletes_.end());
    for (const auto& move : moves_) {
        gone.insert(move.from);
    }
    for (std::size_t section = 0; section < oldCounts.size(); ++section) {
        std::size_t slot = 0;
        for (std::size_t row = 0; row < oldCounts[section]; ++row) {
            const IndexPath old{section, row};
            if (gone.contains(old)) {
                continue;
            }
            while (placed[section][slot]) {
                ++slot;
            }
            arrangement[section][slot] = Origin{Origin::Kind::kept, old, reloaded.contains(old)};
            placed[section][slot] = true;
        }
    }
    return arrangement;
}

std::vector<std::vector<std::optional<IndexPath>>> TableUpdateBatch::oldToNew(
    const Arrangement& arrangement, const std::vector<std::size_t>& oldCounts) {
    std::vector<std::vector<std::optional<IndexPath>>> map(oldCounts.size());
    for (std::size_t section = 0; section < oldCounts.size(); ++section) {
        map[section].resize(oldCounts[section]);
    }
    for (std::size_t section = 0; section < arrangement.size(); ++section) {
        for (std::size_t row = 0; row < arrangement[section].size(); ++row) {
            const auto& origin = arrangement[section][row];
            if (origin.oldIndexPath) {
                map[origin.oldIndexPath->section][origin.oldIndexPath->row()] =
                    IndexPath{section, row};
            }
        }
    }
    return map;
}

}  // namespace dovrel::ui

#include "DovrelFoundation/Import/LoopBackupImport.h"

#include <sqlite3.h>

#include <cmath>
#include <ctime>
#include <fstream>
#include <map>
#include <memory>
#include <set>

#include "DovrelFoundation/Import/ImportDays.h"

namespace dovrel {

namespace {

// Loop's palette, by index.
constexpr std::uint32_t kLoopPalette[] = {
    0xD32F2F, 0xE64A19, 0xF57C00, 0xFF8F00, 0xF9A825, 0xAFB42B, 0x7CB342,
    0x388E3C, 0x00897B, 0x00ACC1, 0x039BE5, 0x1976D2, 0x303F9F, 0x5E35B1,
    0x8E24AA, 0xD81B60, 0x5D4037, 0x303030, 0x757575, 0xAAAAAA,
};

Color colorOf(std::uint32_t rgb) {
    return Color::rgb(((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0,
                      (rgb & 0xFF) / 255.0);
}

struct DatabaseCloser {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct StatementFinalizer {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, DatabaseCloser>;
using Statement = std::unique_ptr<sqlite3_stmt, StatementFinalizer>;

Statement prepare(sqlite3* database, const std::string& sql, const std::string& what) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
        throw ImportError(what + ": " + sqlite3_errmsg(database));
    }
    return Statement(statement);
}

std::set<std::string> columnsOf(sqlite3* database, const std::string& table) {
    auto statement = prepare(database, "PRAGMA table_info(\"" + table + "\")", table);
    std::set<std::string> columns;
    while (sqlite3_step(statement.get()) == SQLITE_ROW) {
        columns.insert(reinterpret_cast<const char*>(sqlite3_column_text(statement.get(), 1)));
    }
    return columns;
}

std::optional<std::string> text(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
        return std::nullopt;
    }
    const auto* value = sqlite3_column_text(statement, column);
    return value == nullptr ? std::string() : std::string(reinterpret_cast<const char*>(value));
}

std::optional<std::int64_t> integer(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) {
        return std::nullopt;
    }
    return sqlite3_column_int64(statement, column);
}

// "name" when the table has the column, else NULL, for a SELECT list.
std::string columnOrNull(const std::set<std::string>& columns, const std::string& name) {
    return columns.contains(name) ? "\"" + name + "\"" : "NULL";
}

}  // namespace

bool isSQLiteFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    char header[16] = {};
    in.read(header, sizeof header);
    return in.gcount() == 16 && std::string(header, 16) == std::string("SQLite format 3\0", 16);
}

ImportedHabits readLoopBackup(const std::filesystem::path& file) {
    const std::string name = file.filename().string();
    sqlite3* opened = nullptr;
    const std::string uri = "file:" + file.string() + "?mode=ro&immutable=1";
    const int code =
        sqlite3_open_v2(uri.c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    Database database(opened);
    if (code != SQLITE_OK) {
        throw ImportError(name + ": the file cannot be opened: " + sqlite3_errstr(code));
    }
    std::int64_t version = 0;
    {
        auto statement = prepare(database.get(), "PRAGMA user_version", name);
        if (sqlite3_step(statement.get()) != SQLITE_ROW) {
            throw ImportError(name + ": " + sqlite3_errmsg(database.get()));
        }
        version = sqlite3_column_int64(statement.get(), 0);
    }
    if (version < 8) {
        throw ImportError(name + ": a Loop Habit Tracker backup of version " +
                          std::to_string(version) + " is older than 8, the oldest read");
    }
    const auto habitColumns = columnsOf(database.get(), "Habits");
    const auto repetitionColumns = columnsOf(database.get(), "Repetitions");
    for (const char* required : {"id", "name", "freq_num", "freq_den", "color"}) {
        if (!habitColumns.contains(required)) {
            throw ImportError(name + ": the table Habits has no column \"" + std::string(required) +
                              "\"");
        }
    }
    for (const char* required : {"habit", "timestamp"}) {
        if (!repetitionColumns.contains(required)) {
            throw ImportError(name + ": the table Repetitions has no column \"" +
                              std::string(required) + "\"");
        }
    }

    ImportedHabits result;
    result.format = "Loop Habit Tracker backup";
    std::map<std::int64_t, std::size_t> byId;
    std::map<std::int64_t, std::int64_t> numericalTargets;  // id -> target in thousandths
    const std::string questionColumn = version >= 23 ? "question" : "description";
    auto habits = prepare(
        database.get(),
        "SELECT id, name, " + columnOrNull(habitColumns, questionColumn) +
            ", freq_num, freq_den, color, " + columnOrNull(habitColumns, "reminder_hour") + ", " +
            columnOrNull(habitColumns, "reminder_min") + ", " + columnOrNull(habitColumns, "type") +
            ", " + columnOrNull(habitColumns, "target_value") + " FROM Habits ORDER BY " +
            (habitColumns.contains("position") ? "position, id" : "id"),
        "Habits");
    int step = 0;
    while ((step = sqlite3_step(habits.get())) == SQLITE_ROW) {
        sqlite3_stmt* row = habits.get();
        const auto id = integer(row, 0);
        const std::string record = "Habits, id " + (id ? std::to_string(*id) : "NULL");
        if (!id) {
            throw ImportError(record + ": the habit has no id");
        }
        ImportedHabit habit;
        habit.record = record;
        const auto habitName = text(row, 1);
        if (!habitName || habitName->empty()) {
            throw ImportError(record + ": the habit has no name");
        }
        habit.name = *habitName;
        if (const auto question = text(row, 2); question && !question->empty()) {
            habit.question = *question;
        }
        const auto times = integer(row, 3);
        const auto days = integer(row, 4);
        if (!times || !days) {
            throw ImportError(record + ": the habit has no frequency");
        }
        checkImportedInterval(*times, *days, record);
        habit.interval = RepeatInterval(*times, *days);
        const auto color = integer(row, 5);
        if (color) {
            if (version < 14) {
                habit.color = colorOf(static_cast<std::uint32_t>(*color) & 0xFFFFFF);
            } else if (*color >= 0 && *color < static_cast<std::int64_t>(std::size(kLoopPalette))) {
                habit.color = colorOf(kLoopPalette[*color]);
            } else {
                throw ImportError(record + ": the colour " + std::to_string(*color) +
                                  " is not an index of Loop's palette (0 to 19)");
            }
        }
        const auto hour = integer(row, 6);
        const auto minute = integer(row, 7);
        if (hour && minute) {
            if (*hour < 0 || *hour > 23 || *minute < 0 || *minute > 59) {
                throw ImportError(record + ": the reminder " + std::to_string(*hour) + ":" +
                                  std::to_string(*minute) + " is not a time of day");
            }
            habit.reminder = std::make_pair(static_cast<int>(*hour), static_cast<int>(*minute));
        }
        if (integer(row, 8).value_or(0) == 1) {
            const auto target = sqlite3_column_double(row, 9);
            if (!std::isfinite(target) || target < 0 || target > 1e12) {
                throw ImportError(record + ": the target is not a number that can be reached");
            }
            numericalTargets[*id] = static_cast<std::int64_t>(std::llround(target * 1000));
        }
        byId[*id] = result.habits.size();
        result.habits.push_back(std::move(habit));
    }
    if (step != SQLITE_DONE) {
        throw ImportError(name + ": Habits: " + sqlite3_errmsg(database.get()));
    }

    std::vector<std::set<double>> checked(result.habits.size());
    const bool hasValues = version >= 16 && repetitionColumns.contains("value");
    auto repetitions =
        prepare(database.get(),
                "SELECT rowid, habit, timestamp, " + std::string(hasValues ? "value" : "NULL") +
                    " FROM Repetitions ORDER BY habit, timestamp",
                "Repetitions");
    while ((step = sqlite3_step(repetitions.get())) == SQLITE_ROW) {
        sqlite3_stmt* row = repetitions.get();
        const std::string record =
            "Repetitions, row " + std::to_string(sqlite3_column_int64(row, 0));
        const auto habitId = integer(row, 1);
        const auto found = habitId ? byId.find(*habitId) : byId.end();
        if (found == byId.end()) {
            throw ImportError(record + ": the habit " +
                              (habitId ? std::to_string(*habitId) : "NULL") + " is not in Habits");
        }
        const auto timestamp = integer(row, 2);
        // Milliseconds at midnight UTC of the day: the UTC date is the local day.
        if (!timestamp || *timestamp < 0 || *timestamp > 253402300799000LL) {
            throw ImportError(record + ": the timestamp is not a day");
        }
        const std::time_t seconds = static_cast<std::time_t>(*timestamp / 1000);
        std::tm utc{};
        if (gmtime_r(&seconds, &utc) == nullptr) {
            throw ImportError(record + ": the timestamp is not a day");
        }
        const auto day = localDayStart(utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday);
        if (!day) {
            throw ImportError(record + ": the timestamp is not a day");
        }
        bool done = true;
        if (hasValues) {
            const std::int64_t value = integer(row, 3).value_or(0);
            if (const auto target = numericalTargets.find(*habitId);
                target != numericalTargets.end()) {
                done = value >= target->second && value > 0;
            } else {
                done = value == 2;
            }
        }
        if (done) {
            checked[found->second].insert(day->timeIntervalSinceReferenceDate());
        }
    }
    if (step != SQLITE_DONE) {
        throw ImportError(name + ": Repetitions: " + sqlite3_errmsg(database.get()));
    }
    for (std::size_t index = 0; index < checked.size(); ++index) {
        for (const double day : checked[index]) {
            result.habits[index].checkmarks.push_back(Date(day));
        }
    }
    if (!numericalTargets.empty()) {
        result.notes.push_back(
            "Numerical habits are imported as yes/no habits: a day whose value reaches the "
            "target is checked.");
    }
    return result;
}

}  // namespace dovrel

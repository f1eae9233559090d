#include "DovrelFoundation/Import/LoopCsvImport.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <set>

#include "DovrelFoundation/Import/CsvReader.h"
#include "DovrelFoundation/Import/ImportDays.h"

namespace dovrel {

namespace {

const std::vector<std::string> kHabitsHeader = {"Position",
                                                "Name",
                                                "Type",
                                                "Question",
                                                "Description",
                                                "FrequencyNumerator",
                                                "FrequencyDenominator",
                                                "Color",
                                                "Unit",
                                                "Target Type",
                                                "Target Value",
                                                "Archived?"};
enum HabitColumn : std::size_t {
    kPosition,
    kName,
    kType,
    kQuestion,
    kDescription,
    kNumerator,
    kDenominator,
    kColor,
    kUnit,
    kTargetType,
    kTargetValue,
    kArchived,
};

std::string contentsOf(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw ImportError(file.filename().string() + ": the file cannot be read");
    }
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::optional<std::int64_t> wholeNumber(const std::string& text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty()) {
        return std::nullopt;
    }
    return value;
}

std::optional<double> decimalNumber(const std::string& text) {
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty() ||
        !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::optional<Color> hexColor(const std::string& text) {
    if (text.size() != 7 || text[0] != '#') {
        return std::nullopt;
    }
    std::uint32_t rgb = 0;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + 7, rgb, 16);
    if (error != std::errc() || end != text.data() + 7) {
        return std::nullopt;
    }
    return Color::rgb(((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0,
                      (rgb & 0xFF) / 255.0);
}

}  // namespace

bool isLoopCsvFolder(const std::filesystem::path& folder) {
    std::error_code error;
    return std::filesystem::is_regular_file(folder / "Habits.csv", error);
}

ImportedHabits readLoopCsvFolder(const std::filesystem::path& folder) {
    ImportedHabits result;
    result.format = "Loop Habit Tracker CSV";
    const auto records = readCsv(contentsOf(folder / "Habits.csv"), "Habits.csv");
    if (records.empty() || records.front().fields != kHabitsHeader) {
        std::string missing;
        const auto& header = records.empty() ? std::vector<std::string>{} : records[0].fields;
        for (const auto& column : kHabitsHeader) {
            if (std::find(header.begin(), header.end(), column) == header.end()) {
                missing += missing.empty() ? column : ", " + column;
            }
        }
        throw ImportError("Habits.csv, line 1: the header is not Loop Habit Tracker's" +
                          (missing.empty() ? std::string() : " (missing: " + missing + ")"));
    }
    bool numerical = false;
    for (std::size_t index = 1; index < records.size(); ++index) {
        const auto& fields = records[index].fields;
        const std::string record = "Habits.csv, line " + std::to_string(records[index].line);
        if (fields.size() != kHabitsHeader.size()) {
            throw ImportError(record + ": " + std::to_string(fields.size()) +
                              " fields instead of " + std::to_string(kHabitsHeader.size()));
        }
        ImportedHabit habit;
        habit.record = record;
        habit.name = fields[kName];
        if (habit.name.empty()) {
            throw ImportError(record + ": the habit has no name");
        }
        const auto position = wholeNumber(fields[kPosition]);
        if (!position || *position < 0 || *position > 999999) {
            throw ImportError(record + ": the position \"" + fields[kPosition] +
                              "\" is not a number");
        }
        const std::string& question =
            !fields[kQuestion].empty() ? fields[kQuestion] : fields[kDescription];
        if (!question.empty()) {
            habit.question = question;
        }
        const auto times = wholeNumber(fields[kNumerator]);
        const auto days = wholeNumber(fields[kDenominator]);
        if (!times || !days) {
            throw ImportError(record + ": the frequency \"" + fields[kNumerator] + "/" +
                              fields[kDenominator] + "\" is not two whole numbers");
        }
        checkImportedInterval(*times, *days, record);
        habit.interval = RepeatInterval(*times, *days);
        habit.color = hexColor(fields[kColor]);
        if (!habit.color) {
            throw ImportError(record + ": the colour \"" + fields[kColor] + "\" is not #RRGGBB");
        }
        std::optional<double> target;
        if (fields[kType] == "NUMERICAL") {
            target = decimalNumber(fields[kTargetValue]);
            if (!target) {
                throw ImportError(record + ": the target \"" + fields[kTargetValue] +
                                  "\" is not a number");
            }
            numerical = true;
        } else if (fields[kType] != "YES_NO") {
            throw ImportError(record + ": the type \"" + fields[kType] +
                              "\" is not YES_NO or NUMERICAL");
        }

        char prefix[16];
        std::snprintf(prefix, sizeof prefix, "%03lld ", static_cast<long long>(*position));
        const auto habitFolder = folder / (std::string(prefix) + habit.name);
        const std::string checkmarksName = habitFolder.filename().string() + "/Checkmarks.csv";
        std::error_code error;
        if (!std::filesystem::is_regular_file(habitFolder / "Checkmarks.csv", error)) {
            throw ImportError(record + ": " + checkmarksName + " is missing");
        }
        const auto checkmarks = readCsv(contentsOf(habitFolder / "Checkmarks.csv"), checkmarksName);
        if (checkmarks.empty() || checkmarks.front().fields.size() < 2 ||
            checkmarks.front().fields[0] != "Date" || checkmarks.front().fields[1] != "Value") {
            throw ImportError(checkmarksName + ", line 1: the header is not \"Date,Value,Notes\"");
        }
        std::set<double> checked;
        for (std::size_t line = 1; line < checkmarks.size(); ++line) {
            const auto& entry = checkmarks[line].fields;
            const std::string where =
                checkmarksName + ", line " + std::to_string(checkmarks[line].line);
            if (entry.size() < 2) {
                throw ImportError(where + ": a line is \"Date,Value,Notes\"");
            }
            const auto day = localDayStart(entry[0]);
            if (!day) {
                throw ImportError(where + ": the date \"" + entry[0] + "\" is not a day");
            }
            const std::string& value = entry[1];
            bool done = false;
            if (value == "YES_MANUAL") {
                done = true;
            } else if (value == "YES_AUTO" || value == "NO" || value == "SKIP" ||
                       value == "UNKNOWN") {
                done = false;
            } else if (const auto amount = decimalNumber(value); amount && target) {
                done = *amount > 0 && *amount >= *target;
            } else {
                throw ImportError(where + ": the value \"" + value +
                                  "\" is not YES_MANUAL, YES_AUTO, NO, SKIP or UNKNOWN");
            }
            if (done) {
                checked.insert(day->timeIntervalSinceReferenceDate());
            }
        }
        for (const double day : checked) {
            habit.checkmarks.push_back(Date(day));
        }
        result.habits.push_back(std::move(habit));
    }
    if (numerical) {
        result.notes.push_back(
            "Numerical habits are imported as yes/no habits: a day whose value reaches the "
            "target is checked.");
    }
    return result;
}

}  // namespace dovrel

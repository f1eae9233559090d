#include "DovrelFoundation/Import/HabitctlImport.h"

#include <fstream>
#include <map>
#include <set>
#include <sstream>

#include "DovrelFoundation/Import/ImportDays.h"

namespace dovrel {

namespace {

std::filesystem::path folderOf(const std::filesystem::path& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error) ? path : path.parent_path();
}

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) {
        return "";
    }
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

std::vector<std::string> lines(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw ImportError(file.string() + ": the file cannot be read");
    }
    std::vector<std::string> result;
    std::string line;
    while (std::getline(in, line)) {
        result.push_back(line);
    }
    return result;
}

}  // namespace

bool isHabitctl(const std::filesystem::path& path) {
    std::error_code error;
    const auto folder = folderOf(path);
    if (!std::filesystem::is_directory(path, error)) {
        const auto name = path.filename().string();
        if (name != "habits" && name != "log") {
            return false;
        }
    }
    return std::filesystem::is_regular_file(folder / "habits", error);
}

ImportedHabits readHabitctl(const std::filesystem::path& path) {
    const auto folder = folderOf(path);
    ImportedHabits result;
    result.format = "habitctl";
    std::map<std::string, std::size_t> byName;
    bool onlyTracked = false;
    const auto habitLines = lines(folder / "habits");
    for (std::size_t index = 0; index < habitLines.size(); ++index) {
        const std::string record = "habits, line " + std::to_string(index + 1);
        std::string line = habitLines[index];
        if (const auto comment = line.find('#'); comment != std::string::npos) {
            line.erase(comment);
        }
        line = trimmed(line);
        if (line.empty()) {
            continue;
        }
        const auto space = line.find_first_of(" \t");
        if (space == std::string::npos) {
            throw ImportError(record + ": a habit is written \"N Name\"");
        }
        const std::string frequency = line.substr(0, space);
        const std::string name = trimmed(line.substr(space));
        ImportedHabit habit;
        habit.name = name;
        habit.record = record;
        if (frequency == "1" || frequency == "0") {
            habit.interval = RepeatInterval(1, 1);
            onlyTracked = onlyTracked || frequency == "0";
        } else if (frequency == "7") {
            habit.interval = RepeatInterval(1, 7);
        } else {
            throw ImportError(record + ": the frequency \"" + frequency +
                              "\" is not 1 (daily), 7 (weekly) or 0 (only tracked)");
        }
        if (name.empty()) {
            throw ImportError(record + ": the habit has no name");
        }
        if (byName.contains(name)) {
            throw ImportError(record + ": \"" + name + "\" is named twice");
        }
        byName[name] = result.habits.size();
        result.habits.push_back(std::move(habit));
    }
    if (onlyTracked) {
        result.notes.push_back(
            "Habits that habitctl only tracked (frequency 0) are imported as daily habits.");
    }

    std::error_code error;
    if (!std::filesystem::exists(folder / "log", error)) {
        return result;
    }
    std::vector<std::set<double>> days(result.habits.size());
    const auto logLines = lines(folder / "log");
    for (std::size_t index = 0; index < logLines.size(); ++index) {
        const std::string record = "log, line " + std::to_string(index + 1);
        const std::string line = trimmed(logLines[index]);
        if (line.empty()) {
            continue;
        }
        std::vector<std::string> fields;
        std::stringstream stream(line);
        std::string field;
        while (std::getline(stream, field, '\t')) {
            fields.push_back(field);
        }
        if (fields.size() != 3) {
            throw ImportError(record + ": a log line is \"YYYY-MM-DD<tab>Name<tab>y|n|s\"");
        }
        const auto day = localDayStart(fields[0]);
        if (!day) {
            throw ImportError(record + ": the date \"" + fields[0] + "\" is not a day");
        }
        const auto habit = byName.find(fields[1]);
        if (habit == byName.end()) {
            throw ImportError(record + ": \"" + fields[1] + "\" is not in the habits file");
        }
        const std::string answer = trimmed(fields[2]);
        if (answer == "y") {
            days[habit->second].insert(day->timeIntervalSinceReferenceDate());
        } else if (answer != "n" && answer != "s") {
            throw ImportError(record + ": the answer \"" + answer + "\" is not y, n or s");
        }
    }
    for (std::size_t index = 0; index < days.size(); ++index) {
        for (const double day : days[index]) {
            result.habits[index].checkmarks.push_back(Date(day));
        }
    }
    return result;
}

}  // namespace dovrel

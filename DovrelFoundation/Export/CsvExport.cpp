#include "DovrelFoundation/Export/CsvExport.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "DovrelFoundation/Appearance/ColorExtensions.h"
#include "DovrelFoundation/Import/CsvReader.h"
#include "DovrelFoundation/Model/Habit.h"
#include "platform/foundation/AtomicFile.h"
#include "platform/foundation/Region.h"

namespace dovrel {

namespace {

constexpr const char* kLineEnd = "\r\n";

std::string hexColor(const Color& color) {
    char text[8];
    std::snprintf(text, sizeof text, "#%06llX",
                  static_cast<unsigned long long>(hex(color) & 0xFFFFFF));
    return text;
}

std::string line(std::initializer_list<std::string> fields) {
    std::string text;
    bool first = true;
    for (const auto& field : fields) {
        if (!first) {
            text += ',';
        }
        text += csvField(field);
        first = false;
    }
    return text + kLineEnd;
}

}  // namespace

CsvExportOutcome exportHabitsAsCsv(store::ManagedObjectContext& context,
                                   const std::filesystem::path& folder) {
    // Latin digits and the Gregorian calendar whatever the user's locale, in the user's zone.
    const Region region("gregorian", Region::current().timeZoneIdentifier(), "en_US_POSIX");
    std::string habits = line({"uri", "name", "question", "color", "times", "days", "remind",
                               "remindTime", "creationDate", "checkmarks"});
    std::string checkmarks = line({"habit", "uri", "date", "day"});
    CsvExportOutcome outcome;
    context.performAndWait([&] {
        for (const auto& habit : context.fetch(Habit::sortedFetchRequest(std::nullopt, false))) {
            const std::string uri = habit->objectID().uriRepresentation();
            const std::string name = habit->name().value_or("");
            const auto interval = habit->repeatInterval();
            const auto color = habit->color();
            const auto remindTime = habit->remindTime();
            const auto creation = habit->creationDate();
            std::vector<Date> dates = habit->performingDates();
            std::sort(dates.begin(), dates.end());
            habits +=
                line({uri, name, habit->question().value_or(""), color ? hexColor(*color) : "",
                      interval ? std::to_string(interval->times()) : "",
                      interval ? std::to_string(interval->days()) : "",
                      habit->remind() ? "true" : "false",
                      remindTime ? region.format(*remindTime, "HH:mm") : "",
                      creation ? region.format(*creation, "yyyy-MM-dd'T'HH:mm:ssxxx") : "",
                      std::to_string(dates.size())});
            for (const Date date : dates) {
                checkmarks += line({name, uri, region.format(date, "yyyy-MM-dd'T'HH:mm:ssxxx"),
                                    region.format(date, "yyyy-MM-dd")});
            }
            ++outcome.habits;
            outcome.checkmarks += dates.size();
        }
    });
    // A folder made here is private to the user, as every folder the program makes.
    std::error_code error;
    if (!std::filesystem::exists(folder, error) &&
        std::filesystem::create_directories(folder, error)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::replace, error);
    }
    writeFileAtomically(folder / "habits.csv", habits);
    writeFileAtomically(folder / "checkmarks.csv", checkmarks);
    return outcome;
}

}  // namespace dovrel

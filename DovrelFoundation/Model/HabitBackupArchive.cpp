#include "DovrelFoundation/Model/HabitBackupArchive.h"

#include "DovrelFoundation/Model/DecodingError.h"
#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupCoding.h"
#include "platform/foundation/AtomicFile.h"
#include "platform/store/ManagedObjectContext.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace dovrel {

using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kVersionKey = "version";
constexpr const char* kHabitsKey = "habits";

Error archiveError(HabitBackupArchive::ErrorCode code, const std::string& description,
                   Error::UserInfo userInfo = {}) {
    userInfo[Error::kLocalizedDescriptionKey] = description;
    return Error(HabitBackupArchive::kErrorDomain, static_cast<std::int64_t>(code),
                 std::move(userInfo));
}

// "The habit record at index 3 (\"Read\")", or without the name when the record has none.
std::string recordTitle(std::size_t index, const std::optional<std::string>& name) {
    std::string title = "The habit record at index " + std::to_string(index);
    if (name) {
        title += " (\"" + *name + "\")";
    }
    return title;
}

std::optional<std::string> recordName(const Json& record) {
    if (record.is_object()) {
        const auto found = record.find("name");
        if (found != record.end() && found->is_string()) {
            return found->get<std::string>();
        }
    }
    return std::nullopt;
}

std::string archiveText(const std::vector<std::shared_ptr<Habit>>& habits) {
    Json list = Json::array();
    for (std::size_t index = 0; index < habits.size(); ++index) {
        try {
            list.push_back(encodeHabit(*habits[index]));
        } catch (const std::domain_error& failure) {
            throw archiveError(HabitBackupArchive::ErrorCode::unencodableHabit,
                               recordTitle(index, habits[index]->name()) +
                                   " could not be written: " + failure.what() + ".",
                               {{HabitBackupArchive::kRecordIndexKey, std::to_string(index)}});
        }
    }
    Json archive = Json::object();
    archive[kVersionKey] = HabitBackupArchive::kVersion;
    archive[kHabitsKey] = std::move(list);
    return archive.dump(2) + "\n";
}

// The list of habit records of an archive text, after the container was checked.
Json habitRecords(const std::string& text) {
    Json archive = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (archive.is_discarded()) {
        throw archiveError(HabitBackupArchive::ErrorCode::malformedArchive,
                           "The backup is not JSON text.");
    }
    if (!archive.is_object()) {
        throw archiveError(HabitBackupArchive::ErrorCode::malformedArchive,
                           "The backup is not a JSON object.");
    }
    const auto version = archive.find(kVersionKey);
    if (version == archive.end() || !version->is_number_integer() ||
        version->get<std::int64_t>() != HabitBackupArchive::kVersion) {
        throw archiveError(
            HabitBackupArchive::ErrorCode::unsupportedVersion,
            "The backup is not of version " + std::to_string(HabitBackupArchive::kVersion) + ".");
    }
    auto habits = archive.find(kHabitsKey);
    if (habits == archive.end() || !habits->is_array()) {
        throw archiveError(HabitBackupArchive::ErrorCode::malformedArchive,
                           "The backup has no list of habits.");
    }
    return std::move(*habits);
}

}  // namespace

std::string HabitBackupArchive::makeBackup(const std::vector<std::shared_ptr<Habit>>& habits) {
    return archiveText(habits);
}

std::string HabitBackupArchive::makeBackup(
    const std::shared_ptr<store::ManagedObjectContext>& context) {
    std::string text;
    context->performAndWait(
        [&] { text = archiveText(context->fetch(Habit::sortedFetchRequest())); });
    return text;
}

void HabitBackupArchive::writeBackupFile(
    const std::shared_ptr<store::ManagedObjectContext>& context,
    const std::filesystem::path& file) {
    const std::string text = makeBackup(context);
    try {
        writeFileAtomically(file, text);
    } catch (const std::system_error&) {
        throw archiveError(ErrorCode::fileUnwritable,
                           "The backup could not be written to " + file.string() + ".");
    }
}

std::size_t HabitBackupArchive::restoreBackup(
    const std::string& archiveText, const std::shared_ptr<store::ManagedObjectContext>& context) {
    const Json records = habitRecords(archiveText);
    std::size_t restored = 0;
    context->performAndWait([&] {
        if (context->hasChanges()) {
            throw archiveError(ErrorCode::contextHasChanges,
                               "The backup was not restored: the context has unsaved changes.");
        }
        const CodingUserInfo userInfo = {{std::string(CodingUserInfoKey::context), context}};
        // The decoded habits are held until the save, whatever the context keeps.
        std::vector<std::shared_ptr<Habit>> decoded;
        decoded.reserve(records.size());
        std::size_t index = 0;
        try {
            for (; index < records.size(); ++index) {
                decoded.push_back(
                    decodeHabit(records[index], userInfo, {kHabitsKey, std::to_string(index)}));
            }
        } catch (const DecodingError& failure) {
            context->rollback();
            const auto name = recordName(records[index]);
            Error::UserInfo details = {
                {kRecordIndexKey, std::to_string(index)},
                {kCodingPathKey, DecodingError::codingPathText(failure.codingPath())},
            };
            if (name) {
                details[kRecordNameKey] = *name;
            }
            throw archiveError(ErrorCode::malformedHabitRecord,
                               recordTitle(index, name) +
                                   " could not be restored: " + failure.localizedDescription(),
                               std::move(details));
        } catch (...) {
            context->rollback();
            throw;
        }
        try {
            context->save();
        } catch (const Error& failure) {
            context->rollback();
            throw archiveError(ErrorCode::saveFailed, "The restored habits could not be saved: " +
                                                          failure.localizedDescription());
        }
        restored = records.size();
    });
    return restored;
}

std::size_t HabitBackupArchive::restoreBackupFile(
    const std::filesystem::path& file,
    const std::shared_ptr<store::ManagedObjectContext>& context) {
    std::error_code error;
    std::ifstream in;
    if (std::filesystem::is_regular_file(file, error)) {
        in.open(file, std::ios::binary);
    }
    std::ostringstream text;
    if (in.is_open()) {
        // An empty file inserts nothing and sets failbit on `text`; it then reads as "".
        text << in.rdbuf();
    }
    if (!in.is_open() || in.bad()) {
        throw archiveError(ErrorCode::fileUnreadable,
                           "The backup " + file.string() + " could not be read.");
    }
    return restoreBackup(text.str(), context);
}

}  // namespace dovrel

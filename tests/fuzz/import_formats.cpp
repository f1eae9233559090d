// The import formats: the bytes are tried as habitctl's files, Loop Habit Tracker's CSV folder
// (Habits.csv and one habit's Checkmarks.csv, split at the first NUL byte), Loop Habit Tracker's
// backup (an SQLite file) and a zip archive. What a reader accepts is imported into nothing
// (the habits are only walked), as a dry run would.

#include <cstdint>
#include <fstream>
#include <string>

#include "DovrelFoundation/Import/HabitctlImport.h"
#include "DovrelFoundation/Import/LoopBackupImport.h"
#include "DovrelFoundation/Import/LoopCsvImport.h"
#include "DovrelFoundation/Import/ZipArchive.h"
#include "DovrelFoundation/Model/RepeatInterval.h"
#include "DovrelFoundation/Progress/HabitProgressCalculator.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

void write(const std::filesystem::path& file, std::string_view text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary | std::ios::trunc)
        .write(text.data(), static_cast<std::streamsize>(text.size()));
}

void use(const dovrel::ImportedHabits& habits) {
    for (const auto& habit : habits.habits) {
        (void)dovrel::HabitProgressCalculator::calculateProgress(
            habit.checkmarks, habit.interval.times(), habit.interval.days());
    }
}

template <typename Read>
void tryReading(Read read) {
    try {
        use(read());
    } catch (const dovrel::ImportError&) {
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    static testing::TemporaryDirectory scratch;
    const std::string_view text(reinterpret_cast<const char*>(bytes), size);
    std::filesystem::remove_all(scratch.path());
    std::filesystem::create_directories(scratch.path());
    const auto split = text.find('\0');
    const std::string_view first = text.substr(0, split);
    const std::string_view second = split == std::string_view::npos ? "" : text.substr(split + 1);

    write(scratch.path() / "habitctl" / "habits", first);
    write(scratch.path() / "habitctl" / "log", second);
    tryReading([&] { return readHabitctl(scratch.path() / "habitctl"); });

    write(scratch.path() / "loop" / "Habits.csv", first);
    write(scratch.path() / "loop" / "001 Read" / "Checkmarks.csv", second);
    tryReading([&] { return readLoopCsvFolder(scratch.path() / "loop"); });

    write(scratch.path() / "backup.db", text);
    tryReading([&] { return readLoopBackup(scratch.path() / "backup.db"); });

    write(scratch.path() / "export.zip", text);
    try {
        std::filesystem::create_directories(scratch.path() / "unpacked");
        unpackZip(scratch.path() / "export.zip", scratch.path() / "unpacked");
    } catch (const ImportError&) {
    }
    return 0;
}

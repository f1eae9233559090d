// The check that runs on a store file before it is opened, on any bytes.

#include <cstdint>
#include <fstream>
#include <string>

#include "DovrelFoundation/Persistence/StorePreflight.h"
#include "tests/support/TemporaryDirectory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    static testing::TemporaryDirectory folder;
    const auto file = folder.path() / "Habit.sqlite";
    for (const char* suffix : {"", "-wal", "-shm", "-journal"}) {
        std::filesystem::remove(file.string() + suffix);
    }
    std::ofstream(file, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    (void)checkStoreFile(file, {"HabitV1", "HabitV2"});
    return 0;
}

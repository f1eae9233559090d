#include "DovrelFoundation/Import/ZipArchive.h"

#include <zip.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "DovrelFoundation/Import/ImportedHabit.h"

namespace dovrel {

namespace {

constexpr zip_int64_t kMostEntries = 10'000;
constexpr zip_uint64_t kMostBytes = 256ULL << 20;

struct ArchiveCloser {
    void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct EntryCloser {
    void operator()(zip_file_t* entry) const { zip_fclose(entry); }
};

// The entry's name as a relative path without "..", or nothing.
std::optional<std::filesystem::path> safeName(const std::string& name) {
    const std::filesystem::path path(name);
    if (name.empty() || path.is_absolute() || name.find('\\') != std::string::npos) {
        return std::nullopt;
    }
    for (const auto& part : path) {
        if (part == "..") {
            return std::nullopt;
        }
    }
    return path.lexically_normal();
}

}  // namespace

bool isZipFile(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    char magic[4] = {};
    in.read(magic, sizeof magic);
    return in.gcount() == 4 && magic[0] == 'P' && magic[1] == 'K' && magic[2] == 3 && magic[3] == 4;
}

void unpackZip(const std::filesystem::path& archive, const std::filesystem::path& folder) {
    const std::string name = archive.filename().string();
    int error = 0;
    std::unique_ptr<zip_t, ArchiveCloser> zip(
        zip_open(archive.c_str(), ZIP_RDONLY | ZIP_CHECKCONS, &error));
    if (!zip) {
        zip_error_t details;
        zip_error_init_with_code(&details, error);
        const std::string message = zip_error_strerror(&details);
        zip_error_fini(&details);
        throw ImportError(name + ": the zip archive cannot be read: " + message);
    }
    const zip_int64_t entries = zip_get_num_entries(zip.get(), 0);
    if (entries < 0 || entries > kMostEntries) {
        throw ImportError(name + ": the zip archive has too many entries");
    }
    zip_uint64_t total = 0;
    std::vector<char> buffer(64 * 1024);
    for (zip_int64_t index = 0; index < entries; ++index) {
        zip_stat_t stat;
        zip_stat_init(&stat);
        if (zip_stat_index(zip.get(), static_cast<zip_uint64_t>(index), 0, &stat) != 0 ||
            (stat.valid & ZIP_STAT_NAME) == 0) {
            throw ImportError(name + ", entry " + std::to_string(index + 1) + ": " +
                              zip_strerror(zip.get()));
        }
        const std::string entryName = stat.name;
        const std::string where = name + ", " + entryName;
        const auto relative = safeName(entryName);
        if (!relative) {
            throw ImportError(where + ": the name leaves the archive's folder");
        }
        std::error_code made;
        if (entryName.back() == '/') {
            std::filesystem::create_directories(folder / *relative, made);
            continue;
        }
        total += (stat.valid & ZIP_STAT_SIZE) != 0 ? stat.size : 0;
        if (total > kMostBytes) {
            throw ImportError(name + ": the zip archive unpacks to more than 256 MiB");
        }
        std::filesystem::create_directories((folder / *relative).parent_path(), made);
        std::unique_ptr<zip_file_t, EntryCloser> entry(
            zip_fopen_index(zip.get(), static_cast<zip_uint64_t>(index), 0));
        if (!entry) {
            throw ImportError(where + ": " + zip_strerror(zip.get()));
        }
        std::ofstream out(folder / *relative, std::ios::binary | std::ios::trunc);
        zip_uint64_t written = 0;
        for (;;) {
            const zip_int64_t read = zip_fread(entry.get(), buffer.data(), buffer.size());
            if (read < 0) {
                throw ImportError(where + ": " + zip_file_strerror(entry.get()));
            }
            if (read == 0) {
                break;
            }
            written += static_cast<zip_uint64_t>(read);
            if (written > kMostBytes) {
                throw ImportError(name + ": the zip archive unpacks to more than 256 MiB");
            }
            out.write(buffer.data(), read);
        }
        if (!out) {
            throw ImportError(where + ": the entry cannot be unpacked");
        }
    }
}

}  // namespace dovrel

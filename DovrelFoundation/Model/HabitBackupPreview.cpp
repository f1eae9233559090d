#include "DovrelFoundation/Model/HabitBackupPreview.h"

#include <stdlib.h>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupArchive.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "platform/foundation/Error.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStoreDescription.h"

namespace dovrel {

namespace {

// A folder of its own under the temporary folder, removed with its contents at the end.
class ScratchFolder {
  public:
    ScratchFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "dovrel-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw Error(HabitBackupArchive::kErrorDomain, 0,
                        {{Error::kLocalizedDescriptionKey,
                          "A scratch folder for the preview cannot be made under " +
                              std::filesystem::temp_directory_path().string()}});
        }
        path_ = pattern;
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const noexcept { return path_; }

  private:
    std::filesystem::path path_;
};

}  // namespace

std::vector<BackupPreviewHabit> previewBackupFile(const std::filesystem::path& file) {
    const ScratchFolder scratch;
    std::vector<BackupPreviewHabit> added;
    store::PersistentContainer container("Habit", currentHabitModel());
    container.setPersistentStoreDescriptions(
        {store::PersistentStoreDescription(scratch.path() / "Habit.sqlite")});
    std::optional<Error> loadError;
    container.loadPersistentStores(
        [&](const store::PersistentStoreDescription&, std::optional<Error> error) {
            loadError = std::move(error);
        });
    if (loadError) {
        throw *loadError;
    }
    const auto context = container.newBackgroundContext();
    HabitBackupArchive::restoreBackupFile(file, context);
    context->performAndWait([&] {
        for (const auto& habit : context->fetch(Habit::sortedFetchRequest())) {
            added.push_back(BackupPreviewHabit{habit->name(), habit->performingDates().size()});
        }
    });
    return added;
}

}  // namespace dovrel

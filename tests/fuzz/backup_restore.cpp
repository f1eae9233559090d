// A backup archive restored into a store in a temporary folder. The store is made once per
// process and emptied after every input that restored something.

#include <cstdint>
#include <memory>
#include <string>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitBackupArchive.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStoreDescription.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

struct Store {
    dovrel::testing::TemporaryDirectory folder;
    std::unique_ptr<dovrel::store::PersistentContainer> container;
    std::shared_ptr<dovrel::store::ManagedObjectContext> context;

    Store() {
        dovrel::registerValueTransformers();
        container = std::make_unique<dovrel::store::PersistentContainer>(
            "Habit", dovrel::currentHabitModel());
        container->setPersistentStoreDescriptions(
            {dovrel::store::PersistentStoreDescription(folder.path() / "Habit.sqlite")});
        container->loadPersistentStores([](const auto&, const auto&) {});
        context = container->newBackgroundContext();
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    static Store store;
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    std::size_t restored = 0;
    try {
        restored = HabitBackupArchive::restoreBackup(text, store.context);
    } catch (const Error&) {
        return 0;
    }
    if (restored > 0) {
        // What was restored is read as the list reads it, then removed for the next input.
        store.context->performAndWait([&] {
            for (const auto& habit : store.context->fetch(Habit::fetchRequest())) {
                (void)habit->currentProgress();
                (void)habit->nextReminder();
                store.context->deleteObject(habit);
            }
            store.context->save();
        });
    }
    return 0;
}

// Object URIs ("x-dovrel://<store>/<entity>/p<key>"), as a HABIT argument or a reminder's user
// info carries them, looked up in a real coordinator.

#include <cstdint>
#include <memory>
#include <string>

#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/PersistentStoreDescription.h"
#include "tests/support/TemporaryDirectory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace dovrel;
    static testing::TemporaryDirectory folder;
    static const auto container = [] {
        registerValueTransformers();
        auto made = std::make_unique<store::PersistentContainer>("Habit", currentHabitModel());
        made->setPersistentStoreDescriptions(
            {store::PersistentStoreDescription(folder.path() / "Habit.sqlite")});
        made->loadPersistentStores([](const auto&, const auto&) {});
        return made;
    }();
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    if (const auto id = container->persistentStoreCoordinator()->managedObjectID(text)) {
        (void)id->uriRepresentation();
        (void)container->viewContext()->existingObject(*id);
    }
    return 0;
}

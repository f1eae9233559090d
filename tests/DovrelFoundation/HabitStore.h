#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "DovrelFoundation/Model/Habit.h"
#include "DovrelFoundation/Model/HabitModel.h"
#include "DovrelFoundation/Model/ValueTransformers.h"
#include "platform/dispatch/MainRunLoop.h"
#include "platform/foundation/Error.h"
#include "platform/foundation/Logging.h"
#include "platform/store/ManagedObjectModel.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/PersistentStoreDescription.h"
#include "platform/widgets/WidgetCenter.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ScopedEnvironment.h"
#include "tests/support/TemporaryDirectory.h"

namespace dovrel::testing {

// A store file of the habit model in a temporary folder, opened through a container whose view
// context the tests use on their own thread (the main thread). The value transformers are
// registered first, as the application does. No session bus is reachable, so widget reloads log
// a line to the widgets logger instead of reaching a bus.
class HabitStore {
  public:
    explicit HabitStore(
        std::shared_ptr<const store::ManagedObjectModel> model = habitModelVersion2()) {
        registerValueTransformers();
        open(std::move(model));
    }

    const std::filesystem::path& url() const { return url_; }
    store::PersistentContainer& container() { return *container_; }
    store::ManagedObjectContext& context() { return *container_->viewContext(); }
    std::shared_ptr<store::ManagedObjectContext> sharedContext() {
        return container_->viewContext();
    }
    std::shared_ptr<store::PersistentStore> store() {
        return container_->persistentStoreCoordinator()->persistentStores().front();
    }

    // Closes the container and opens the same file again, with fresh contexts.
    void reopen() {
        auto model = container_->managedObjectModel();
        container_.reset();
        open(std::move(model));
    }

    // Runs the main queue until nothing is left (perform on the view context goes through it).
    static void drainMainQueue() {
        while (MainRunLoop::runPending() > 0) {
        }
    }

  private:
    void open(std::shared_ptr<const store::ManagedObjectModel> model) {
        container_ = std::make_unique<store::PersistentContainer>("Habit", std::move(model));
        container_->setPersistentStoreDescriptions({store::PersistentStoreDescription(url_)});
        std::optional<Error> failure;
        container_->loadPersistentStores(
            [&](const store::PersistentStoreDescription&, std::optional<Error> error) {
                failure = std::move(error);
            });
        if (failure) {
            throw *failure;
        }
    }

    TemporaryDirectory runtime_;
    ScopedEnvironment busAddress_{"DBUS_SESSION_BUS_ADDRESS", std::nullopt};
    ScopedEnvironment runtimeDirectory_{"XDG_RUNTIME_DIR", runtime_.path().string()};
    TemporaryDirectory directory_;
    std::filesystem::path url_ = directory_.path() / "Habit.sqlite";
    std::unique_ptr<store::PersistentContainer> container_;
};

// The lines written to the widgets logger while the object lives.
class CapturedWidgetLog : public CapturedLog {
  public:
    CapturedWidgetLog() : CapturedLog(widgets::kWidgetsLoggerName) {}
};

}  // namespace dovrel::testing

#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/foundation/Error.h"
#include "platform/store/FetchRequest.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/store/ManagedObjectContext.h"
#include "platform/store/PersistentContainer.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreTestModel.h"

// What the tests of two processes on one store share with the second process they start.
namespace dovrel::store::testing {

// Describes each change a fetched-results controller of people reports, as one line:
// "insert <name> <age>", "update <name> <age>" (moves too) or "delete <name>", and hands it on.
class DescribingDelegate : public FetchedResultsControllerDelegate {
  public:
    explicit DescribingDelegate(std::function<void(std::string)> report)
        : report_(std::move(report)) {}

    void controller(FetchedResultsControllerBase&, const std::shared_ptr<ManagedObject>& object,
                    std::optional<IndexPath>, FetchedResultsChangeType type,
                    std::optional<IndexPath>) override {
        const std::string name = object->value("name").string().value_or("?");
        const std::string age = std::to_string(object->value("age").integer().value_or(0));
        switch (type) {
            case FetchedResultsChangeType::insert:
                report_("insert " + name + " " + age);
                break;
            case FetchedResultsChangeType::delete_:
                report_("delete " + name);
                break;
            case FetchedResultsChangeType::move:
            case FetchedResultsChangeType::update:
                report_("update " + name + " " + age);
                break;
        }
    }

  private:
    std::function<void(std::string)> report_;
};

// A description of `file` as both processes open it: history and remote-change announcements on.
inline PersistentStoreDescription syncDescription(const std::filesystem::path& file) {
    PersistentStoreDescription description(file);
    description.setOption(Value(true), PersistentStoreDescription::kPersistentHistoryTrackingKey);
    description.setOption(Value(true),
                          PersistentStoreDescription::kRemoteChangeNotificationPostOptionKey);
    return description;
}

// A container over `file` opened with syncDescription, loaded (nullptr when it fails to load).
inline std::unique_ptr<PersistentContainer> makeSyncContainer(const std::filesystem::path& file) {
    auto container = std::make_unique<PersistentContainer>("Sync", makeTestModel());
    container->setPersistentStoreDescriptions({syncDescription(file)});
    bool loaded = true;
    container->loadPersistentStores(
        [&](const PersistentStoreDescription&, std::optional<Error> error) { loaded = !error; });
    return loaded ? std::move(container) : nullptr;
}

// Runs `iterations` read-modify-writes on `context` (a private-queue context whose merge policy
// is errorMergePolicy), one save each, taking the people named `names` in turn: age goes up by
// one and active flips. A save that finds the row changed by another writer fails with a merge
// error; the object is then read again and the change made again. Returns how many saves were
// repeated; any other error passes on.
inline std::int64_t incrementInTurn(ManagedObjectContext& context,
                                    const std::vector<std::string>& names,
                                    std::int64_t iterations) {
    std::int64_t repeated = 0;
    context.performAndWait([&] {
        std::vector<std::shared_ptr<Person>> people;
        for (const auto& name : names) {
            FetchRequest<Person> request("Person");
            request.setPredicate(Key("name") == name);
            auto found = context.fetch(request);
            if (found.size() != 1) {
                throw StoreError::make(133000, "No single person named " + name);
            }
            people.push_back(found.front());
        }
        for (std::int64_t i = 0; i < iterations; ++i) {
            const auto& person = people[static_cast<std::size_t>(i) % people.size()];
            for (;;) {
                context.refresh(person, false);
                person->setAge(person->age() + 1);
                person->setValue(Value(!person->value("active").boolean().value_or(false)),
                                 "active");
                try {
                    context.save();
                    break;
                } catch (const Error& error) {
                    if (error.code() != StoreError::kManagedObjectMergeError) {
                        throw;
                    }
                    ++repeated;
                }
            }
        }
    });
    return repeated;
}

}  // namespace dovrel::store::testing

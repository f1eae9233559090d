#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using testing::makeTestModel;
using testing::Person;
using testing::TemporaryDirectory;

// A container over two store files, "First.sqlite" then "Second.sqlite", in `directory`.
std::unique_ptr<PersistentContainer> makeTwoStoreContainer(const std::filesystem::path& directory) {
    auto container = std::make_unique<PersistentContainer>("Test", makeTestModel());
    container->setPersistentStoreDescriptions(
        {PersistentStoreDescription(directory / "First.sqlite"),
         PersistentStoreDescription(directory / "Second.sqlite")});
    int failures = 0;
    container->loadPersistentStores(
        [&](const PersistentStoreDescription&, std::optional<Error> error) {
            failures += error.has_value();
        });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(container->persistentStoreCoordinator()->persistentStores().size(), 2u);
    return container;
}

std::set<std::string> names(const std::vector<std::shared_ptr<ManagedObject>>& objects) {
    std::set<std::string> result;
    for (const auto& object : objects) {
        result.insert(object->value("name").string().value_or("?"));
    }
    return result;
}

std::set<std::string> filesIn(const std::filesystem::path& directory) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files.insert(entry.path().filename().string());
    }
    return files;
}

TEST(MultipleStores, NewObjectsGoToTheFirstStoreUnlessAssigned) {
    TemporaryDirectory directory;
    auto container = makeTwoStoreContainer(directory.path());
    auto stores = container->persistentStoreCoordinator()->persistentStores();
    auto& context = *container->viewContext();
    auto plain = context.insertNewObject("Person");
    plain->setValue("plain", "name");
    auto assigned = context.insertNewObject("Person");
    assigned->setValue("assigned", "name");
    context.assign(assigned, stores[1]);
    context.save();
    EXPECT_EQ(plain->objectID().storeUUID(), stores[0]->uuid());
    EXPECT_EQ(assigned->objectID().storeUUID(), stores[1]->uuid());
}

TEST(MultipleStores, FetchAndCountRestrictedToOneStoreSeeOnlyItsObjects) {
    TemporaryDirectory directory;
    auto container = makeTwoStoreContainer(directory.path());
    auto stores = container->persistentStoreCoordinator()->persistentStores();
    auto& context = *container->viewContext();
    for (const char* name : {"Ann", "Bob"}) {
        context.insertNewObject("Person")->setValue(name, "name");
    }
    for (const char* name : {"Cid", "Dee", "Eve"}) {
        auto person = context.insertNewObject("Person");
        person->setValue(name, "name");
        context.assign(person, stores[1]);
    }
    context.save();

    FetchRequestBase all("Person");
    EXPECT_EQ(names(context.fetch(all)),
              (std::set<std::string>{"Ann", "Bob", "Cid", "Dee", "Eve"}));
    EXPECT_EQ(context.count(all), 5);

    FetchRequestBase second("Person");
    second.setAffectedStores({stores[1]});
    EXPECT_EQ(names(context.fetch(second)), (std::set<std::string>{"Cid", "Dee", "Eve"}));
    EXPECT_EQ(context.count(second), 3);

    FetchRequestBase first("Person");
    first.setAffectedStores({stores[0]});
    first.setPredicate(
        Predicate::comparison("name", Predicate::Operator::notEqualTo, Value("Ann")));
    EXPECT_EQ(names(context.fetch(first)), (std::set<std::string>{"Bob"}));
    EXPECT_EQ(context.count(first), 1);

    // An unsaved object counts in the store it will be saved to.
    auto pending = context.insertNewObject("Person");
    pending->setValue("Fay", "name");
    context.assign(pending, stores[1]);
    EXPECT_EQ(names(context.fetch(second)), (std::set<std::string>{"Cid", "Dee", "Eve", "Fay"}));
    EXPECT_EQ(context.count(first), 1);
}

TEST(MultipleStores, ObjectsAssignedToTheSecondStoreAreFoundThereAfterReopen) {
    TemporaryDirectory directory;
    std::string secondUUID;
    {
        auto container = makeTwoStoreContainer(directory.path());
        auto coordinator = container->persistentStoreCoordinator();
        auto stores = coordinator->persistentStores();
        secondUUID = stores[1]->identifier();
        auto& context = *container->viewContext();
        auto owner = context.insertNewObject("Person");
        owner->setValue("Owner", "name");
        auto pet = context.insertNewObject("Pet");
        pet->setValue("Rex", "name");
        pet->setObject(owner, "owner");
        // Both ways of assigning: through the coordinator and through the context.
        coordinator->assign(owner, stores[1]);
        context.assign(pet, stores[1]);
        context.save();
    }
    auto container = makeTwoStoreContainer(directory.path());
    auto stores = container->persistentStoreCoordinator()->persistentStores();
    EXPECT_EQ(stores[1]->identifier(), secondUUID);
    auto& context = *container->viewContext();
    FetchRequestBase inFirst("Person");
    inFirst.setAffectedStores({stores[0]});
    EXPECT_EQ(context.count(inFirst), 0);
    FetchRequestBase inSecond("Person");
    inSecond.setAffectedStores({stores[1]});
    auto people = context.fetch(inSecond);
    ASSERT_EQ(people.size(), 1u);
    EXPECT_EQ(people[0]->objectID().storeUUID(), stores[1]->uuid());
    auto pets = people[0]->objects("pets");
    ASSERT_EQ(pets.size(), 1u);
    EXPECT_EQ(pets[0]->value("name"), Value("Rex"));
    EXPECT_EQ(pets[0]->objectID().storeUUID(), stores[1]->uuid());
}

TEST(MultipleStores, ARelationshipBetweenObjectsOfDifferentStoresFailsTheSave) {
    TemporaryDirectory directory;
    auto container = makeTwoStoreContainer(directory.path());
    auto stores = container->persistentStoreCoordinator()->persistentStores();
    auto& context = *container->viewContext();
    auto owner = context.insertNewObject("Person");
    auto pet = context.insertNewObject("Pet");
    pet->setObject(owner, "owner");
    context.assign(pet, stores[1]);
    try {
        context.save();
        ADD_FAILURE() << "the save went through";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kPersistentStoreSaveError);
        EXPECT_EQ(error.localizedDescription(), "A relationship joins objects of different stores");
    }
    // Nothing was written to either store, and the context still has its changes.
    EXPECT_TRUE(pet->objectID().isTemporaryID());
    EXPECT_TRUE(owner->objectID().isTemporaryID());
    EXPECT_TRUE(context.hasChanges());
    context.rollback();
    EXPECT_EQ(context.count(FetchRequestBase("Person")), 0);
    EXPECT_EQ(context.count(FetchRequestBase("Pet")), 0);
}

TEST(MultipleStores, SavingAnObjectAssignedToARemovedStoreFails) {
    TemporaryDirectory directory;
    auto container = makeTwoStoreContainer(directory.path());
    auto coordinator = container->persistentStoreCoordinator();
    auto stores = coordinator->persistentStores();
    auto& context = *container->viewContext();
    auto person = context.insertNewObject("Person");
    context.assign(person, stores[1]);
    coordinator->removePersistentStore(stores[1]);
    try {
        context.save();
        ADD_FAILURE() << "the save went through";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kPersistentStoreSaveError);
        EXPECT_EQ(error.localizedDescription(),
                  "A new object is assigned to a store that was removed");
    }
    EXPECT_TRUE(person->objectID().isTemporaryID());
}

TEST(MultipleStores, RemovingAStoreHidesItsObjectsAndKeepsItsFile) {
    TemporaryDirectory directory;
    auto container = makeTwoStoreContainer(directory.path());
    auto coordinator = container->persistentStoreCoordinator();
    auto stores = coordinator->persistentStores();
    auto& context = *container->viewContext();
    context.insertNewObject("Person")->setValue("first", "name");
    auto second = context.insertNewObject("Person");
    second->setValue("second", "name");
    context.assign(second, stores[1]);
    context.save();
    coordinator->removePersistentStore(stores[1]);
    EXPECT_EQ(coordinator->persistentStores(), std::vector{stores[0]});
    EXPECT_EQ(coordinator->persistentStore(stores[1]->uuid()), nullptr);
    EXPECT_EQ(names(context.fetch(FetchRequestBase("Person"))), (std::set<std::string>{"first"}));
    EXPECT_TRUE(std::filesystem::exists(directory.path() / "Second.sqlite"));
    // New objects now go to the remaining store.
    auto third = context.insertNewObject("Person");
    context.save();
    EXPECT_EQ(third->objectID().storeUUID(), stores[0]->uuid());
}

TEST(MultipleStores, DestroyingAStoreRemovesItAndDeletesItsFiles) {
    TemporaryDirectory directory;
    auto container = makeTwoStoreContainer(directory.path());
    auto coordinator = container->persistentStoreCoordinator();
    auto stores = coordinator->persistentStores();
    auto& context = *container->viewContext();
    auto person = context.insertNewObject("Person");
    context.assign(person, stores[1]);
    context.save();
    const auto second = directory.path() / "Second.sqlite";
    // The open store has its write-ahead log and shared-memory files beside it.
    EXPECT_TRUE(std::filesystem::exists(second.string() + "-wal"));
    EXPECT_TRUE(std::filesystem::exists(second.string() + "-shm"));
    coordinator->destroyPersistentStore(second);
    EXPECT_EQ(coordinator->persistentStores(), std::vector{stores[0]});
    EXPECT_EQ(filesIn(directory.path()),
              (std::set<std::string>{"First.sqlite", "First.sqlite-shm", "First.sqlite-wal"}));
    EXPECT_EQ(context.count(FetchRequestBase("Person")), 0);
    // A store that is not there is nothing to destroy.
    EXPECT_NO_THROW(coordinator->destroyPersistentStore(second));
}

TEST(MultipleStores, DestroyingAStoreTheCoordinatorDoesNotHaveDeletesItsFiles) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Loose.sqlite";
    testing::makeLoadedContainer(file, makeTestModel());
    ASSERT_TRUE(std::filesystem::exists(file));
    PersistentStoreCoordinator coordinator(makeTestModel());
    coordinator.destroyPersistentStore(file);
    EXPECT_TRUE(filesIn(directory.path()).empty());
}

TEST(MultipleStores, MetadataSetThroughTheCoordinatorSurvivesAReopenWithoutASave) {
    TemporaryDirectory directory;
    std::map<std::string, Value> written = {
        {"text", Value("hello")}, {"number", Value(42)},      {"real", Value(2.5)},
        {"flag", Value(true)},    {"when", Value(Date(100))}, {"bytes", Value(Data{1, 2, 3})},
    };
    std::string firstUUID, secondUUID;
    {
        auto container = makeTwoStoreContainer(directory.path());
        auto coordinator = container->persistentStoreCoordinator();
        auto stores = coordinator->persistentStores();
        firstUUID = stores[0]->identifier();
        secondUUID = stores[1]->identifier();
        coordinator->setMetadata(written, *stores[1]);
        // The reserved keys stay what they were, whatever the caller passes.
        coordinator->setMetadata(
            {{PersistentStore::kStoreUUIDKey, Value("not a UUID")}, {"only", Value("first")}},
            *stores[0]);
        EXPECT_EQ(coordinator->metadataForPersistentStore(*stores[1]).at("text"), Value("hello"));
    }
    auto container = makeTwoStoreContainer(directory.path());
    auto coordinator = container->persistentStoreCoordinator();
    auto stores = coordinator->persistentStores();
    EXPECT_EQ(stores[0]->identifier(), firstUUID);
    EXPECT_EQ(stores[1]->identifier(), secondUUID);
    auto second = coordinator->metadataForPersistentStore(*stores[1]);
    for (const auto& [key, value] : written) {
        EXPECT_EQ(second.at(key), value) << key;
    }
    EXPECT_FALSE(second.contains("only"));
    auto first = coordinator->metadataForPersistentStore(*stores[0]);
    EXPECT_EQ(first.at("only"), Value("first"));
    EXPECT_EQ(first.at(PersistentStore::kStoreUUIDKey), Value(firstUUID));
    EXPECT_EQ(first.at(PersistentStore::kModelVersionIdentifierKey), Value("1"));
}

TEST(MultipleStores, MetadataOfAFileIsReadWithoutLoadingOrChangingIt) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    std::string uuid;
    {
        auto container = testing::makeLoadedContainer(file, makeTestModel("v3"));
        auto coordinator = container->persistentStoreCoordinator();
        auto store = coordinator->persistentStores().front();
        uuid = store->identifier();
        coordinator->setMetadata({{"key", Value("value")}}, *store);
    }
    const auto before = std::filesystem::last_write_time(file);
    auto metadata = PersistentStoreCoordinator::metadataForPersistentStore(file);
    EXPECT_EQ(metadata.at(PersistentStore::kStoreUUIDKey), Value(uuid));
    EXPECT_EQ(metadata.at(PersistentStore::kModelVersionIdentifierKey), Value("v3"));
    EXPECT_EQ(metadata.at("key"), Value("value"));
    EXPECT_EQ(std::filesystem::last_write_time(file), before);
    EXPECT_EQ(filesIn(directory.path()), std::set<std::string>{"Test.sqlite"});
}

TEST(MultipleStores, MetadataOfAMissingFileOrOfAFileThatIsNoStoreThrows) {
    TemporaryDirectory directory;
    try {
        PersistentStoreCoordinator::metadataForPersistentStore(directory.path() / "None.sqlite");
        ADD_FAILURE() << "a missing file had metadata";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kPersistentStoreOpenError);
    }
    const auto text = directory.path() / "Text.sqlite";
    {
        std::ofstream out(text);
        out << std::string(4096, 'x');
    }
    try {
        PersistentStoreCoordinator::metadataForPersistentStore(text);
        ADD_FAILURE() << "a text file had metadata";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kFileReadCorruptFileError);
    }
}

TEST(MultipleStoresDeathTest, AssigningASavedObjectStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            TemporaryDirectory directory;
            auto container = makeTwoStoreContainer(directory.path());
            auto stores = container->persistentStoreCoordinator()->persistentStores();
            auto& context = *container->viewContext();
            auto person = context.insertNewObject("Person");
            context.save();
            context.assign(person, stores[1]);
        },
        "Fatal error: Only an unsaved object inserted into this context can be assigned to a "
        "store");
}

TEST(MultipleStoresDeathTest, AssigningToAStoreOfAnotherCoordinatorStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            TemporaryDirectory directory;
            auto container = makeTwoStoreContainer(directory.path());
            auto other =
                testing::makeLoadedContainer(directory.path() / "Other.sqlite", makeTestModel());
            auto foreign = other->persistentStoreCoordinator()->persistentStores().front();
            auto& context = *container->viewContext();
            context.assign(context.insertNewObject("Person"), foreign);
        },
        "Fatal error: Can't assign an object to a store that is not in the coordinator");
}

}  // namespace
}  // namespace dovrel::store

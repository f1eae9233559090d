#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>

#include "platform/store/EntityMigrationPolicy.h"
#include "platform/store/MigrationManager.h"
#include "platform/store/MigrationPlan.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreTestModel.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/FileContents.h"
#include "tests/support/ScopedEnvironment.h"

namespace dovrel::store {
namespace {

using dovrel::testing::ChildProcess;
using dovrel::testing::ScopedEnvironment;
using testing::TemporaryDirectory;

// Two versions of a small model of owners and their entries.
//   Version "1": Owner  title (string), rank (integer 64); entries (to-many Entry, cascade)
//                Entry  date (date), note (string); owner (to-one Owner)
//   Version "2": Owner  title (string), rank (double), entryCount (integer 64, required),
//                       lastDate (date); entries (to-many Entry, cascade)
//                Entry  date (date), text (string, the old note); owner (to-one Owner)
std::shared_ptr<const ManagedObjectModel> ownerModel(int version,
                                                     std::string identifier = std::string()) {
    EntityDescription owner("Owner");
    owner.addAttribute({"title", AttributeType::stringAttributeType});
    if (version == 1) {
        owner.addAttribute({"rank", AttributeType::integer64AttributeType});
    } else {
        owner.addAttribute({"rank", AttributeType::doubleAttributeType});
        owner.addAttribute({"entryCount", AttributeType::integer64AttributeType, false, Value(0)});
        owner.addAttribute({"lastDate", AttributeType::dateAttributeType});
    }
    owner.addRelationship({"entries", "Entry", "owner", true, DeleteRule::cascadeDeleteRule});
    EntityDescription entry("Entry");
    entry.addAttribute({"date", AttributeType::dateAttributeType});
    entry.addAttribute({version == 1 ? "note" : "text", AttributeType::stringAttributeType});
    entry.addRelationship({"owner", "Owner", "entries", false});
    std::vector<EntityDescription> entities;
    entities.push_back(std::move(owner));
    entities.push_back(std::move(entry));
    return std::make_shared<ManagedObjectModel>(
        identifier.empty() ? std::to_string(version) : identifier, std::move(entities));
}

const std::shared_ptr<const ManagedObjectModel>& version1() {
    static const auto model = ownerModel(1);
    return model;
}

const std::shared_ptr<const ManagedObjectModel>& version2() {
    static const auto model = ownerModel(2);
    return model;
}

// Copies an owner through the base implementation, then counts its entries and finds the last
// date, reading the relationship and the dates by key.
class OwnerPolicy : public EntityMigrationPolicy {
  public:
    void createDestinationInstances(const std::shared_ptr<ManagedObject>& source,
                                    const EntityMapping& mapping,
                                    MigrationManager& manager) override {
        EntityMigrationPolicy::createDestinationInstances(source, mapping, manager);
        auto destinations = manager.destinationInstances(mapping.name, {source});
        if (destinations.size() != 1) {
            throw std::runtime_error("the base implementation made no owner");
        }
        const Value entries = source->value("entries");
        auto members = entries.objectAs<ObjectSet>();
        if (!members) {
            throw std::runtime_error("entries is not a set");
        }
        std::optional<Date> last;
        for (const auto& entry : *members) {
            auto date = entry->value("date").date();
            if (date && (!last || *last < *date)) {
                last = date;
            }
        }
        destinations[0]->setValue(static_cast<std::int64_t>(members->size()), "entryCount");
        destinations[0]->setValue(Value(last), "lastDate");
    }
};

MappingModel mapping1To2() {
    EntityMapping owners{"OwnerToOwner", "Owner", "Owner"};
    owners.setPolicy<OwnerPolicy>();
    EntityMapping entries{"EntryToEntry", "Entry", "Entry"};
    entries.attributeMappings.push_back(AttributeMapping::renamed("text", "note"));
    return MappingModel({std::move(owners), std::move(entries)});
}

std::shared_ptr<const MigrationPlan> plan1To2(MappingModel mapping = mapping1To2()) {
    return std::make_shared<MigrationPlan>(
        std::vector<ModelVersion>{{version1(), std::nullopt}, {version2(), std::move(mapping)}});
}

// Owner i has title "Owner i", rank i and i % 5 entries dated i*100 + j (j = 0, 1, ...), noted
// "i/j".
void writeVersion1Store(const std::filesystem::path& file, int owners,
                        std::shared_ptr<const ManagedObjectModel> model = version1()) {
    auto container = testing::makeLoadedContainer(file, std::move(model));
    auto& context = *container->viewContext();
    for (int i = 0; i < owners; ++i) {
        auto owner = context.insertNewObject("Owner");
        owner->setValue("Owner " + std::to_string(i), "title");
        owner->setValue(i, "rank");
        for (int j = 0; j < i % 5; ++j) {
            auto entry = context.insertNewObject("Entry");
            entry->setValue(Date(i * 100.0 + j), "date");
            entry->setValue(std::to_string(i) + "/" + std::to_string(j), "note");
            entry->setObject(owner, "owner");
        }
    }
    context.save();
    auto coordinator = container->persistentStoreCoordinator();
    coordinator->setMetadata({{"kept", Value("yes")}}, *coordinator->persistentStores().front());
}

int expectedEntries(int owners) {
    int total = 0;
    for (int i = 0; i < owners; ++i) {
        total += i % 5;
    }
    return total;
}

using dovrel::testing::contentsOf;

std::set<std::string> filesIn(const std::filesystem::path& directory) {
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files.insert(entry.path().filename().string());
    }
    return files;
}

// Loads `file` through a container of the plan; returns the container and the handler's error.
std::unique_ptr<PersistentContainer> load(const std::filesystem::path& file,
                                          std::shared_ptr<const MigrationPlan> plan,
                                          std::optional<Error>& error) {
    auto container = std::make_unique<PersistentContainer>("Test", std::move(plan));
    container->setPersistentStoreDescriptions({PersistentStoreDescription(file)});
    int calls = 0;
    container->loadPersistentStores(
        [&](const PersistentStoreDescription&, std::optional<Error> failure) {
            ++calls;
            error = failure;
        });
    EXPECT_EQ(calls, 1);
    return container;
}

// Checks every owner and entry of a migrated store of `owners` owners.
void expectMigrated(PersistentContainer& container, int owners) {
    auto& context = *container.viewContext();
    FetchRequestBase request("Owner");
    request.setSortDescriptors({SortDescriptor("rank", true)});
    auto migrated = context.fetch(request);
    ASSERT_EQ(migrated.size(), static_cast<std::size_t>(owners));
    EXPECT_EQ(context.count(FetchRequestBase("Entry")), expectedEntries(owners));
    for (int i = 0; i < owners; ++i) {
        const auto& owner = migrated[static_cast<std::size_t>(i)];
        EXPECT_EQ(owner->value("title"), Value("Owner " + std::to_string(i)));
        EXPECT_EQ(owner->value("rank"), Value(static_cast<double>(i)));
        EXPECT_EQ(owner->value("entryCount"), Value(i % 5));
        EXPECT_EQ(owner->value("lastDate"),
                  i % 5 == 0 ? Value() : Value(Date(i * 100.0 + i % 5 - 1)));
        auto entries = owner->objects("entries");
        ASSERT_EQ(entries.size(), static_cast<std::size_t>(i % 5));
        std::set<std::string> texts;
        for (const auto& entry : entries) {
            texts.insert(entry->value("text").string().value_or("?"));
            EXPECT_EQ(entry->object("owner"), owner);
            const double date = entry->value("date").date()->timeIntervalSinceReferenceDate();
            EXPECT_GE(date, i * 100.0);
            EXPECT_LT(date, i * 100.0 + 5);
        }
        std::set<std::string> expected;
        for (int j = 0; j < i % 5; ++j) {
            expected.insert(std::to_string(i) + "/" + std::to_string(j));
        }
        EXPECT_EQ(texts, expected);
    }
}

TEST(StoreMigration, AVersion1StoreOfAThousandObjectsMigratesThroughACustomPolicy) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 1000);
    const auto oldUUID = PersistentStoreCoordinator::metadataForPersistentStore(file).at(
        PersistentStore::kStoreUUIDKey);
    std::optional<Error> error;
    auto container = load(file, plan1To2(), error);
    ASSERT_FALSE(error.has_value()) << error->localizedDescription();
    expectMigrated(*container, 1000);
    const auto identifier =
        container->persistentStoreCoordinator()->persistentStores().front()->identifier();
    auto metadata = container->persistentStoreCoordinator()->persistentStores().front()->metadata();
    EXPECT_EQ(metadata.at(PersistentStore::kModelVersionIdentifierKey), Value("2"));
    EXPECT_EQ(metadata.at("kept"), Value("yes"));
    EXPECT_NE(metadata.at(PersistentStore::kStoreUUIDKey), oldUUID);
    // Nothing of the migration is left beside the store.
    container.reset();
    EXPECT_EQ(filesIn(directory.path()), std::set<std::string>{"Test.sqlite"});
    // The migrated store opens as it is, without another migration.
    auto again = load(file, plan1To2(), error);
    ASSERT_FALSE(error.has_value());
    EXPECT_EQ(again->persistentStoreCoordinator()->persistentStores().front()->identifier(),
              identifier);
}

// Throws at the `limit`th source instance.
class ThrowingPolicy : public EntityMigrationPolicy {
  public:
    void createDestinationInstances(const std::shared_ptr<ManagedObject>& source,
                                    const EntityMapping& mapping,
                                    MigrationManager& manager) override {
        if (++seen_ == 600) {
            throw std::runtime_error("the owner policy gave up");
        }
        EntityMigrationPolicy::createDestinationInstances(source, mapping, manager);
    }

  private:
    int seen_ = 0;
};

TEST(StoreMigration, APolicyThatThrowsLeavesTheVersion1FileByteForByte) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 1000);
    const std::string bytes = contentsOf(file);
    const auto files = filesIn(directory.path());
    ASSERT_EQ(files, std::set<std::string>{"Test.sqlite"});

    MappingModel mapping = mapping1To2();
    mapping.entityMappings()[0].setPolicy<ThrowingPolicy>();
    std::optional<Error> error;
    auto container = load(file, plan1To2(std::move(mapping)), error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->domain(), StoreError::kDomain);
    EXPECT_EQ(error->code(), StoreError::kEntityMigrationPolicyError);
    EXPECT_EQ(error->localizedDescription(),
              "The migration policy of the entity mapping \"OwnerToOwner\" failed: the owner "
              "policy gave up");
    EXPECT_TRUE(container->persistentStoreCoordinator()->persistentStores().empty());
    container.reset();
    EXPECT_EQ(contentsOf(file), bytes);
    EXPECT_EQ(filesIn(directory.path()), files);

    // The old version still opens, with all of its objects.
    auto old = testing::makeLoadedContainer(file, version1(), &error);
    ASSERT_FALSE(error.has_value());
    EXPECT_EQ(old->viewContext()->count(FetchRequestBase("Owner")), 1000);
}

TEST(StoreMigration, AFailedSaveOfTheMigratedObjectsLeavesTheOldFileAsItWas) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 50);
    const std::string bytes = contentsOf(file);
    // The required entryCount is left empty, so the new store refuses the objects.
    MappingModel mapping = mapping1To2();
    mapping.entityMappings()[0].policyFactory = nullptr;
    mapping.entityMappings()[0].attributeMappings.push_back(
        AttributeMapping::computed("entryCount", [](const ManagedObject&) { return Value(); }));
    std::optional<Error> error;
    load(file, plan1To2(std::move(mapping)), error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), StoreError::kMigrationError);
    EXPECT_NE(error->localizedDescription().find("\"entryCount\""), std::string::npos)
        << error->localizedDescription();
    EXPECT_EQ(contentsOf(file), bytes);
    EXPECT_EQ(filesIn(directory.path()), std::set<std::string>{"Test.sqlite"});
}

constexpr const char* kChildStoreVariable = "DOVREL_STORE_MIGRATION_CHILD_STORE";

// Says "halfway" on standard output at the 500th owner and then waits to be killed.
class StallingPolicy : public EntityMigrationPolicy {
  public:
    void createDestinationInstances(const std::shared_ptr<ManagedObject>& source,
                                    const EntityMapping& mapping,
                                    MigrationManager& manager) override {
        EntityMigrationPolicy::createDestinationInstances(source, mapping, manager);
        if (++seen_ == 500) {
            std::fputs("halfway\n", stdout);
            std::fflush(stdout);
            std::this_thread::sleep_for(std::chrono::seconds(60));
        }
    }

  private:
    int seen_ = 0;
};

// The child's part: run by this same program in a child process (see below).
TEST(StoreMigrationIntegration, ChildMigratesUntilKilled) {
    const char* file = std::getenv(kChildStoreVariable);
    if (file == nullptr) {
        GTEST_SKIP() << "runs only as the child of SIGKILLHalfWayLeavesTheOriginalAndTheNextOpen"
                        "Migrates";
    }
    MappingModel mapping = mapping1To2();
    mapping.entityMappings()[0].setPolicy<StallingPolicy>();
    std::optional<Error> error;
    load(file, plan1To2(std::move(mapping)), error);
    std::fputs("finished\n", stdout);
}

TEST(StoreMigrationIntegration, SIGKILLHalfWayLeavesTheOriginalAndTheNextOpenMigrates) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 1000);
    const std::string bytes = contentsOf(file);

    {
        ScopedEnvironment storeForChild(kChildStoreVariable, file.string());
        ChildProcess child({"/proc/self/exe",
                            "--gtest_filter=StoreMigrationIntegration.ChildMigratesUntilKilled"});
        std::optional<std::string> line;
        while ((line = child.readLine(std::chrono::seconds(60))) && *line != "halfway") {
        }
        ASSERT_EQ(line, "halfway");
        EXPECT_EQ(child.kill(), 128 + SIGKILL);
    }
    // The killed migration was writing its new file beside the store.
    EXPECT_TRUE(filesIn(directory.path()).contains("Test.sqlite.migration"));
    EXPECT_EQ(contentsOf(file), bytes);

    std::optional<Error> error;
    auto container = load(file, plan1To2(), error);
    ASSERT_FALSE(error.has_value()) << error->localizedDescription();
    expectMigrated(*container, 1000);
    container.reset();
    EXPECT_EQ(filesIn(directory.path()), std::set<std::string>{"Test.sqlite"});
}

TEST(StoreMigration, AStoreOfAnUnknownVersionIsRefusedWithAClearError) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 10, ownerModel(1, "0.9-beta"));
    const std::string bytes = contentsOf(file);
    std::optional<Error> error;
    auto container = load(file, plan1To2(), error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), StoreError::kMigrationMissingSourceModelError);
    EXPECT_EQ(error->localizedDescription(),
              "The store " + file.string() +
                  " was made by model version \"0.9-beta\", which this program does not know "
                  "(its model version is \"2\"); the store was left as it was");
    EXPECT_TRUE(container->persistentStoreCoordinator()->persistentStores().empty());
    container.reset();
    EXPECT_EQ(contentsOf(file), bytes);
    EXPECT_EQ(filesIn(directory.path()), std::set<std::string>{"Test.sqlite"});
}

TEST(StoreMigration, AStoreWithNoMappingToTheCurrentVersionIsRefused) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 10);
    const std::string bytes = contentsOf(file);
    auto plan = std::make_shared<MigrationPlan>(
        std::vector<ModelVersion>{{version1(), std::nullopt}, {version2(), std::nullopt}});
    std::optional<Error> error;
    load(file, plan, error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), StoreError::kMigrationMissingMappingModelError);
    EXPECT_EQ(error->localizedDescription(),
              "The store " + file.string() +
                  " cannot be opened: no mapping model leads from model version \"1\" to \"2\"; "
                  "the store was left as it was");
    EXPECT_EQ(contentsOf(file), bytes);
}

TEST(StoreMigration, AStoreOfTheCurrentVersionOpensWithoutAMigration) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    std::string uuid;
    {
        std::optional<Error> error;
        auto container = load(file, plan1To2(), error);
        ASSERT_FALSE(error.has_value());
        uuid = container->persistentStoreCoordinator()->persistentStores().front()->identifier();
    }
    std::optional<Error> error;
    auto container = load(file, plan1To2(), error);
    ASSERT_FALSE(error.has_value());
    EXPECT_EQ(container->persistentStoreCoordinator()->persistentStores().front()->identifier(),
              uuid);
}

TEST(StoreMigration, AStoreMigratesThroughEveryLaterVersionInTurn) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 40);
    auto version3 = ownerModel(2, "3");
    auto plan = std::make_shared<MigrationPlan>(std::vector<ModelVersion>{
        {version1(), std::nullopt},
        {version2(), mapping1To2()},
        {version3, MappingModel::inferred(*version2(), *version3)},
    });
    std::optional<Error> error;
    auto container = load(file, plan, error);
    ASSERT_FALSE(error.has_value()) << error->localizedDescription();
    EXPECT_EQ(container->persistentStoreCoordinator()->persistentStores().front()->metadata().at(
                  PersistentStore::kModelVersionIdentifierKey),
              Value("3"));
    expectMigrated(*container, 40);
    container.reset();
    EXPECT_EQ(filesIn(directory.path()), std::set<std::string>{"Test.sqlite"});
}

TEST(StoreMigration, AnInferredMappingCopiesAttributesAndRelationshipsByName) {
    EXPECT_EQ(MappingModel::inferred(*version1(), *version2()).entityMappings().size(), 2u);
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 20);
    auto plan = std::make_shared<MigrationPlan>(std::vector<ModelVersion>{
        {version1(), std::nullopt},
        {version2(), MappingModel::inferred(*version1(), *version2())},
    });
    std::optional<Error> error;
    auto container = load(file, plan, error);
    ASSERT_FALSE(error.has_value()) << error->localizedDescription();
    auto& context = *container->viewContext();
    FetchRequestBase request("Owner");
    request.setPredicate(
        Predicate::comparison("title", Predicate::Operator::equalTo, Value("Owner 13")));
    auto owners = context.fetch(request);
    ASSERT_EQ(owners.size(), 1u);
    EXPECT_EQ(owners[0]->value("rank"), Value(13.0));
    // Not in the mapping: the defaults of the new attributes, and no text for the renamed note.
    EXPECT_EQ(owners[0]->value("entryCount"), Value(0));
    auto entries = owners[0]->objects("entries");
    ASSERT_EQ(entries.size(), 3u);
    for (const auto& entry : entries) {
        EXPECT_TRUE(entry->value("text").isNull());
    }
}

TEST(StoreMigration, ANewAttributeTypeWithoutAnAttributeMappingFailsTheMigration) {
    TemporaryDirectory directory;
    const auto file = directory.path() / "Test.sqlite";
    writeVersion1Store(file, 5);
    const std::string bytes = contentsOf(file);
    // In this version the title is an integer.
    EntityDescription owner("Owner");
    owner.addAttribute({"title", AttributeType::integer64AttributeType});
    owner.addRelationship({"entries", "Entry", "owner", true});
    EntityDescription entry("Entry");
    entry.addRelationship({"owner", "Owner", "entries", false});
    std::vector<EntityDescription> entities;
    entities.push_back(std::move(owner));
    entities.push_back(std::move(entry));
    auto numbered = std::make_shared<ManagedObjectModel>("numbered", std::move(entities));
    auto plan = std::make_shared<MigrationPlan>(std::vector<ModelVersion>{
        {version1(), std::nullopt}, {numbered, MappingModel::inferred(*version1(), *numbered)}});
    std::optional<Error> error;
    load(file, plan, error);
    ASSERT_TRUE(error.has_value());
    EXPECT_EQ(error->code(), StoreError::kEntityMigrationPolicyError);
    EXPECT_EQ(error->localizedDescription(),
              "The migration policy of the entity mapping \"OwnerToOwner\" failed: The attribute "
              "\"title\" changes from string to integer 64 and needs an attribute mapping");
    EXPECT_EQ(contentsOf(file), bytes);
}

int checkedEntries = 0;

// Checks the manager's answers while the migration runs.
class CheckingPolicy : public EntityMigrationPolicy {
  public:
    void createRelationships(const std::shared_ptr<ManagedObject>& made,
                             const EntityMapping& mapping, MigrationManager& manager) override {
        EntityMigrationPolicy::createRelationships(made, mapping, manager);
        auto sources = manager.sourceInstances("EntryToEntry", {made});
        if (sources.size() != 1 || manager.sourceInstance(*made) != sources[0] ||
            manager.destinationInstances("EntryToEntry", sources) !=
                std::vector<std::shared_ptr<ManagedObject>>{made} ||
            !manager.destinationInstances("OwnerToOwner", sources).empty() ||
            &manager.currentEntityMapping() != &mapping) {
            throw std::runtime_error("the manager's answers are wrong");
        }
        // The owner was made by the other mapping and is linked already.
        auto owner = made->object("owner");
        auto sourceOwner = sources[0]->object("owner");
        if (!owner || manager.destinationInstances("OwnerToOwner", {sourceOwner}) !=
                          std::vector<std::shared_ptr<ManagedObject>>{owner}) {
            throw std::runtime_error("the entry's owner is wrong");
        }
        ++checkedEntries;
    }
};

TEST(StoreMigration, TheManagerFindsDestinationsBySourceAndSourcesByDestination) {
    TemporaryDirectory directory;
    const auto source = directory.path() / "Old.sqlite";
    const auto destination = directory.path() / "New.sqlite";
    writeVersion1Store(source, 10);
    MappingModel mapping = mapping1To2();
    mapping.entityMappings()[1].setPolicy<CheckingPolicy>();
    MigrationManager manager(version1(), version2());
    manager.migrateStore(source, destination, mapping);
    EXPECT_EQ(checkedEntries, expectedEntries(10));
    // The manager wrote a new store and left the old one.
    EXPECT_EQ(PersistentStoreCoordinator::metadataForPersistentStore(destination)
                  .at(PersistentStore::kModelVersionIdentifierKey),
              Value("2"));
    EXPECT_EQ(PersistentStoreCoordinator::metadataForPersistentStore(source).at(
                  PersistentStore::kModelVersionIdentifierKey),
              Value("1"));
    // A destination that exists already is refused.
    try {
        manager.migrateStore(source, destination, mapping);
        ADD_FAILURE() << "the existing destination was overwritten";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kMigrationError);
    }
}

TEST(StoreMigrationDeathTest, AMappingOfAnEntityTheModelLacksStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            TemporaryDirectory directory;
            writeVersion1Store(directory.path() / "Old.sqlite", 1);
            MigrationManager manager(version1(), version2());
            manager.migrateStore(directory.path() / "Old.sqlite", directory.path() / "New.sqlite",
                                 MappingModel({EntityMapping{"TagToTag", "Tag", "Tag"}}));
        },
        "Fatal error: The entity mapping \"TagToTag\" names the entity \"Tag\", which the source "
        "model lacks");
}

TEST(StoreMigrationDeathTest, APlanWithTwoVersionsOfOneIdentifierStops) {
    EXPECT_DEATH(MigrationPlan({{version1(), std::nullopt}, {ownerModel(2, "1"), std::nullopt}}),
                 "Fatal error: The migration plan has two model versions \"1\"");
}

}  // namespace
}  // namespace dovrel::store

#include "platform/store/ManagedObjectContext.h"

#include <gtest/gtest.h>

#include <sqlite3.h>

#include <atomic>
#include <future>

#include "platform/store/PersistentStoreCoordinator.h"
#include "platform/store/StoreError.h"
#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using testing::drainMainQueue;
using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::Person;
using testing::Pet;
using testing::Rgb;
using testing::TemporaryDirectory;

class ManagedObjectContextTest : public ::testing::Test {
  protected:
    ManagedObjectContextTest() {
        std::optional<Error> error;
        container = makeLoadedContainer(storeFile(), model, &error);
        EXPECT_FALSE(error.has_value()) << (error ? error->localizedDescription() : "");
    }

    std::filesystem::path storeFile() const { return directory.path() / "Test.sqlite"; }
    ManagedObjectContext& view() { return *container->viewContext(); }
    std::shared_ptr<PersistentStore> store() {
        return container->persistentStoreCoordinator()->persistentStores().front();
    }

    std::shared_ptr<Person> insertPerson(ManagedObjectContext& context, const std::string& name,
                                         std::int64_t age) {
        auto person = context.insertNewObject<Person>("Person");
        person->setName(name);
        person->setAge(age);
        return person;
    }

    static FetchRequest<Person> peopleByName() {
        FetchRequest<Person> request("Person");
        request.setSortDescriptors({{"name", true}});
        return request;
    }

    static std::vector<std::string> names(const std::vector<std::shared_ptr<Person>>& people) {
        std::vector<std::string> result;
        for (const auto& person : people) {
            result.push_back(person->name().value_or("<nil>"));
        }
        return result;
    }

    TemporaryDirectory directory;
    std::shared_ptr<const ManagedObjectModel> model = makeTestModel();
    std::unique_ptr<PersistentContainer> container;
};

TEST_F(ManagedObjectContextTest, EveryAttributeTypeSurvivesASaveAndAReopen) {
    auto person = view().insertNewObject<Person>("Person");
    person->setName("Ann");
    person->setAge(42);
    person->setValue(2.5, "score");
    person->setValue(true, "active");
    person->setBirthday(Date(123456.75));
    person->setValue(Data{0, 1, 2, 255}, "avatar");
    person->setValue(Value::object(Rgb{10, 20, 30}), "favoriteColor");
    view().save();
    container.reset();

    auto reopened = makeLoadedContainer(storeFile(), model);
    auto people = reopened->viewContext()->fetch(peopleByName());
    ASSERT_EQ(people.size(), 1u);
    EXPECT_EQ(people[0]->name(), "Ann");
    EXPECT_EQ(people[0]->age(), 42);
    EXPECT_EQ(people[0]->value("score").real(), 2.5);
    EXPECT_EQ(people[0]->value("active").boolean(), true);
    EXPECT_EQ(people[0]->birthday(), Date(123456.75));
    EXPECT_EQ(people[0]->value("avatar").data(), (Data{0, 1, 2, 255}));
    EXPECT_EQ(people[0]->value("favoriteColor").objectAs<Rgb>(), (Rgb{10, 20, 30}));
}

TEST_F(ManagedObjectContextTest, DatesAreStoredAsSecondsSince2001) {
    auto person = insertPerson(view(), "Ann", 1);
    person->setBirthday(Date(86400.5));
    view().save();
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(storeFile().c_str(), &db), SQLITE_OK);
    sqlite3_stmt* statement = nullptr;
    ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT typeof(birthday), birthday FROM Person", -1,
                                 &statement, nullptr),
              SQLITE_OK);
    ASSERT_EQ(sqlite3_step(statement), SQLITE_ROW);
    EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(statement, 0)), "real");
    EXPECT_EQ(sqlite3_column_double(statement, 1), 86400.5);
    sqlite3_finalize(statement);
    sqlite3_close(db);
}

TEST_F(ManagedObjectContextTest, NewObjectsHaveDefaultsAndTemporaryIDsUntilSaved) {
    auto person = view().insertNewObject<Person>("Person");
    EXPECT_EQ(person->age(), 0);
    EXPECT_TRUE(person->value("name").isNull());
    EXPECT_TRUE(person->isInserted());
    EXPECT_TRUE(person->objectID().isTemporaryID());
    EXPECT_TRUE(view().hasChanges());
    view().save();
    EXPECT_FALSE(person->isInserted());
    EXPECT_FALSE(person->objectID().isTemporaryID());
    EXPECT_FALSE(view().hasChanges());
}

TEST_F(ManagedObjectContextTest, FetchAppliesPredicateSortAndLimitInTheStore) {
    for (auto [name, age] : std::vector<std::pair<std::string, int>>{
             {"Dan", 40}, {"Ann", 30}, {"Cid", 20}, {"Bob", 50}}) {
        insertPerson(view(), name, age);
    }
    view().save();
    auto request = peopleByName();
    request.setPredicate(Key("age") >= 30);
    EXPECT_EQ(names(view().fetch(request)), (std::vector<std::string>{"Ann", "Bob", "Dan"}));
    request.setSortDescriptors({{"age", false}});
    request.setFetchLimit(2);
    EXPECT_EQ(names(view().fetch(request)), (std::vector<std::string>{"Bob", "Dan"}));
    request.setFetchLimit(0);
    request.setPredicate(Key("age") < 30 || Key("name") == "Dan");
    EXPECT_EQ(names(view().fetch(request)), (std::vector<std::string>{"Dan", "Cid"}));
    EXPECT_EQ(view().count(request), 2);
    request.setPredicate(!(Key("name") != Value()));
    EXPECT_EQ(view().count(request), 0);
}

TEST_F(ManagedObjectContextTest, FetchIncludesTheContextsUnsavedChanges) {
    insertPerson(view(), "Ann", 30);
    auto bob = insertPerson(view(), "Bob", 50);
    auto cid = insertPerson(view(), "Cid", 60);
    view().save();
    insertPerson(view(), "Eve", 35);  // new, matches
    bob->setAge(10);                  // changed, no longer matches
    view().deleteObject(cid);         // deleted
    auto request = peopleByName();
    request.setPredicate(Key("age") >= 30);
    EXPECT_EQ(names(view().fetch(request)), (std::vector<std::string>{"Ann", "Eve"}));
    EXPECT_EQ(view().count(request), 2);
}

TEST_F(ManagedObjectContextTest, FetchAttributesReadsTheNamedAttributesInFetchOrderWithoutObjects) {
    for (auto [name, age] : std::vector<std::pair<std::string, int>>{
             {"Dan", 40}, {"Ann", 30}, {"Cid", 20}, {"Bob", 50}}) {
        auto person = insertPerson(view(), name, age);
        person->setValue(Value::object(Rgb{static_cast<std::uint8_t>(age), 2, 3}), "favoriteColor");
    }
    view().save();
    view().reset();
    auto request = peopleByName();
    request.setPredicate(Key("age") >= 30);
    const auto rows = view().fetchAttributes(request, {"age", "favoriteColor", "name"});
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].values[0].integer(), 30);
    EXPECT_EQ(rows[0].values[1].objectAs<Rgb>(), (Rgb{30, 2, 3}));
    EXPECT_EQ(rows[0].values[2].string(), "Ann");
    EXPECT_EQ(rows[1].values[2].string(), "Bob");
    EXPECT_EQ(rows[2].values[2].string(), "Dan");
    // The IDs are those of the rows, and nothing was registered in the context for them.
    EXPECT_TRUE(view().registeredObjects().empty());
    EXPECT_EQ(view().existingObject(rows[1].objectID)->value("name").string(), "Bob");

    const auto stored =
        view().fetchAttributes(request, {"favoriteColor"}, AttributeForm::storedData);
    ASSERT_EQ(stored.size(), 3u);
    EXPECT_EQ(stored[2].values[0].data(), (Data{40, 2, 3}));

    request.setFetchLimit(1);
    request.setSortDescriptors({{"age", false}});
    const auto oldest = view().fetchAttributes(request, {"name"});
    ASSERT_EQ(oldest.size(), 1u);
    EXPECT_EQ(oldest[0].values[0].string(), "Bob");
}

TEST_F(ManagedObjectContextTest, FetchAttributesSeesTheContextsUnsavedChanges) {
    insertPerson(view(), "Ann", 30);
    auto bob = insertPerson(view(), "Bob", 50);
    auto cid = insertPerson(view(), "Cid", 60);
    view().save();
    auto eve = insertPerson(view(), "Eve", 35);
    eve->setValue(Value::object(Rgb{9, 8, 7}), "favoriteColor");
    bob->setAge(10);
    view().deleteObject(cid);
    auto request = peopleByName();
    request.setPredicate(Key("age") >= 30);
    const auto rows = view().fetchAttributes(request, {"name"});
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].values[0].string(), "Ann");
    EXPECT_EQ(rows[1].values[0].string(), "Eve");
    EXPECT_EQ(rows[1].objectID, eve->objectID());
    // The stored form of an unsaved value is what a save would write.
    const auto stored =
        view().fetchAttributes(request, {"favoriteColor"}, AttributeForm::storedData);
    ASSERT_EQ(stored.size(), 2u);
    EXPECT_EQ(stored[1].values[0].data(), (Data{9, 8, 7}));
    EXPECT_TRUE(stored[0].values[0].isNull());
}

TEST_F(ManagedObjectContextTest,
       ForEachAttributesHandsEachRowInFetchOrderWithNothingOfThePrevious) {
    auto ann = insertPerson(view(), "Ann", 30);
    ann->setValue(Value::object(Rgb{1, 2, 3}), "favoriteColor");
    insertPerson(view(), "Bob", 50);  // no colour: the row after a coloured one reads null
    auto cid = insertPerson(view(), "Cid", 60);
    cid->setValue(Value::object(Rgb{7, 8, 9}), "favoriteColor");
    view().save();
    view().reset();
    std::vector<std::string> seen;
    std::vector<Value> colours;
    std::vector<ManagedObjectID> ids;
    view().forEachAttributes(
        peopleByName(), {"name", "favoriteColor"}, AttributeForm::storedData,
        [&](const ManagedObjectID& objectID, const std::vector<Value>& values) {
            ASSERT_EQ(values.size(), 2u);
            seen.push_back(*values[0].string());
            colours.push_back(values[1]);
            ids.push_back(objectID);
        });
    EXPECT_EQ(seen, (std::vector<std::string>{"Ann", "Bob", "Cid"}));
    ASSERT_EQ(colours.size(), 3u);
    EXPECT_EQ(colours[0].data(), (Data{1, 2, 3}));
    EXPECT_TRUE(colours[1].isNull());
    EXPECT_EQ(colours[2].data(), (Data{7, 8, 9}));
    EXPECT_TRUE(view().registeredObjects().empty());
    EXPECT_EQ(view().existingObject(ids[2])->value("name").string(), "Cid");

    // With unsaved changes the rows come from the context's objects, in the same order.
    auto bob = view().existingObject(ids[1]);
    bob->setValue(Value::object(Rgb{4, 5, 6}), "favoriteColor");
    view().deleteObject(view().existingObject(ids[0]));
    seen.clear();
    colours.clear();
    view().forEachAttributes(peopleByName(), {"name", "favoriteColor"}, AttributeForm::storedData,
                             [&](const ManagedObjectID&, const std::vector<Value>& values) {
                                 seen.push_back(*values[0].string());
                                 colours.push_back(values[1]);
                             });
    EXPECT_EQ(seen, (std::vector<std::string>{"Bob", "Cid"}));
    ASSERT_EQ(colours.size(), 2u);
    EXPECT_EQ(colours[0].data(), (Data{4, 5, 6}));
    EXPECT_EQ(colours[1].data(), (Data{7, 8, 9}));
}

TEST_F(ManagedObjectContextTest, FetchAttributesOfAnUnknownAttributeIsAProgrammingError) {
    insertPerson(view(), "Ann", 30);
    view().save();
    EXPECT_DEATH(view().fetchAttributes(peopleByName(), {"name", "height"}),
                 "Entity Person has no attribute \"height\"");
}

TEST_F(ManagedObjectContextTest, ChangedValuesAreSavedAndSeenByAFreshContext) {
    auto person = insertPerson(view(), "Ann", 30);
    view().save();
    person->setAge(31);
    EXPECT_TRUE(person->isUpdated());
    EXPECT_EQ(person->changedValues(), (std::map<std::string, Value>{{"age", Value(31)}}));
    EXPECT_EQ(person->committedValues().at("age"), Value(30));
    view().save();
    EXPECT_FALSE(person->isUpdated());

    auto background = container->newBackgroundContext();
    background->performAndWait([&] {
        auto people = background->fetch(peopleByName());
        ASSERT_EQ(people.size(), 1u);
        EXPECT_EQ(people[0]->age(), 31);
    });
}

TEST_F(ManagedObjectContextTest, RollbackRestoresOldValuesAndUndoesInsertsAndDeletes) {
    auto ann = insertPerson(view(), "Ann", 30);
    auto bob = insertPerson(view(), "Bob", 40);
    view().save();
    ann->setName("Anna");
    ann->setAge(99);
    view().deleteObject(bob);
    auto eve = insertPerson(view(), "Eve", 20);
    view().rollback();
    EXPECT_EQ(ann->name(), "Ann");
    EXPECT_EQ(ann->age(), 30);
    EXPECT_FALSE(ann->isUpdated());
    EXPECT_FALSE(bob->isDeleted());
    EXPECT_EQ(eve->managedObjectContext(), nullptr);
    EXPECT_FALSE(view().hasChanges());
    EXPECT_EQ(names(view().fetch(peopleByName())), (std::vector<std::string>{"Ann", "Bob"}));
}

TEST_F(ManagedObjectContextTest, ResetInvalidatesEveryObject) {
    auto ann = insertPerson(view(), "Ann", 30);
    view().save();
    auto bob = insertPerson(view(), "Bob", 40);
    std::optional<ObjectIDSet> invalidated;
    auto token = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kObjectsDidChangeNotification, &view(),
        [&](const Notification& notification) {
            auto found =
                notification.userInfo.find(ManagedObjectContext::kInvalidatedAllObjectsKey);
            if (found != notification.userInfo.end()) {
                invalidated = std::any_cast<ObjectIDSet>(found->second);
            }
        });
    const auto annID = ann->objectID();
    view().reset();
    EXPECT_EQ(ann->managedObjectContext(), nullptr);
    EXPECT_EQ(bob->managedObjectContext(), nullptr);
    EXPECT_FALSE(view().hasChanges());
    EXPECT_TRUE(view().registeredObjects().empty());
    ASSERT_TRUE(invalidated.has_value());
    EXPECT_TRUE(invalidated->contains(annID));
    EXPECT_TRUE(invalidated->contains(bob->objectID()));
    // The stored row is still there, as a new object.
    auto people = view().fetch(peopleByName());
    ASSERT_EQ(people.size(), 1u);
    EXPECT_NE(people[0].get(), ann.get());
    EXPECT_EQ(people[0]->objectID(), annID);
}

TEST_F(ManagedObjectContextTest, OneRowIsOneObjectPerContext) {
    auto ann = insertPerson(view(), "Ann", 30);
    view().save();
    auto first = view().fetch(peopleByName());
    auto second = view().fetch(peopleByName());
    ASSERT_EQ(first.size(), 1u);
    EXPECT_EQ(first[0].get(), ann.get());
    EXPECT_EQ(second[0].get(), ann.get());
    EXPECT_EQ(view().existingObject(ann->objectID()).get(), ann.get());
    EXPECT_EQ(view().object(ann->objectID()).get(), ann.get());

    auto background = container->newBackgroundContext();
    background->performAndWait([&] {
        auto other = background->existingObject(ann->objectID());
        EXPECT_NE(other.get(), ann.get());
        EXPECT_EQ(other->objectID(), ann->objectID());
        EXPECT_EQ(background->fetch(peopleByName())[0].get(), other.get());
    });
}

TEST_F(ManagedObjectContextTest, AFailedSaveWritesNothingAndKeepsTheChanges) {
    insertPerson(view(), "Ann", 30);
    view().save();
    auto bob = insertPerson(view(), "Bob", 40);
    auto broken = insertPerson(view(), "Broken", 1);
    broken->setValue(Value(), "age");  // required
    try {
        view().save();
        FAIL() << "the save should have failed";
    } catch (const Error& error) {
        EXPECT_EQ(error.domain(), StoreError::kDomain);
        EXPECT_EQ(error.code(), StoreError::kValidationMissingMandatoryPropertyError);
    }
    EXPECT_TRUE(view().hasChanges());
    EXPECT_TRUE(bob->isInserted());
    auto other = container->newBackgroundContext();
    other->performAndWait([&] { EXPECT_EQ(other->count(FetchRequestBase("Person")), 1); });
    broken->setAge(2);
    view().save();
    other->performAndWait([&] { EXPECT_EQ(other->count(FetchRequestBase("Person")), 3); });
}

TEST_F(ManagedObjectContextTest, DeleteRulesNullifyCascadeAndDeny) {
    auto ann = insertPerson(view(), "Ann", 30);
    auto rex = view().insertNewObject<Pet>("Pet");
    rex->setName("Rex");
    ann->addObject(rex, "pets");
    auto team = view().insertNewObject("Team");
    ann->setObject(team, "team");
    view().save();
    EXPECT_EQ(rex->object("owner").get(), ann.get());
    EXPECT_EQ(team->objects("players").size(), 1u);

    // Deny: a team with players cannot go.
    view().deleteObject(team);
    EXPECT_THROW(view().save(), Error);
    view().rollback();

    // Nullify: a deleted pet leaves its owner's list.
    auto tom = view().insertNewObject<Pet>("Pet");
    tom->setObject(ann, "owner");
    view().save();
    EXPECT_EQ(ann->objects("pets").size(), 2u);
    view().deleteObject(tom);
    EXPECT_EQ(ann->objects("pets").size(), 1u);
    view().save();

    // Cascade: deleting the owner deletes the pets; the team (nullify) loses its player.
    view().deleteObject(ann);
    EXPECT_TRUE(rex->isDeleted());
    EXPECT_TRUE(team->objects("players").empty());
    view().save();
    EXPECT_EQ(view().count(FetchRequestBase("Pet")), 0);
    view().deleteObject(team);
    view().save();
    EXPECT_EQ(view().count(FetchRequestBase("Team")), 0);
}

TEST_F(ManagedObjectContextTest, ReadingAnAttributeDoesNotLoadToManyMembers) {
    for (int i = 0; i < 10; ++i) {
        std::string name = "P";
        name += std::to_string(i);
        auto person = insertPerson(view(), name, i);
        for (int j = 0; j < 100; ++j) {
            person->addObject(view().insertNewObject<Pet>("Pet"), "pets");
        }
    }
    view().save();
    view().reset();
    const auto before = store()->rowsRead();
    auto request = peopleByName();
    request.setReturnsObjectsAsFaults(false);
    auto people = view().fetch(request);
    std::int64_t total = 0;
    for (const auto& person : people) {
        total += person->age();
        EXPECT_TRUE(person->hasFaultForRelationship("pets"));
    }
    EXPECT_EQ(total, 45);
    EXPECT_EQ(store()->rowsRead() - before, 10u);
    EXPECT_EQ(people[0]->objects("pets").size(), 100u);
    EXPECT_EQ(store()->rowsRead() - before, 110u);
}

TEST_F(ManagedObjectContextTest, FaultsLoadTheirValuesOnFirstAccess) {
    insertPerson(view(), "Ann", 30);
    view().save();
    view().reset();
    auto people = view().fetch(FetchRequest<Person>("Person"));
    ASSERT_EQ(people.size(), 1u);
    EXPECT_TRUE(people[0]->isFault());
    EXPECT_EQ(people[0]->name(), "Ann");
    EXPECT_FALSE(people[0]->isFault());
}

TEST_F(ManagedObjectContextTest, ObjectsDidChangeReportsInsertedUpdatedAndDeletedObjects) {
    auto ann = insertPerson(view(), "Ann", 30);
    auto bob = insertPerson(view(), "Bob", 40);
    view().save();
    std::vector<std::map<std::string, std::size_t>> reports;
    auto token = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kObjectsDidChangeNotification, &view(),
        [&](const Notification& notification) {
            std::map<std::string, std::size_t> report;
            for (const auto& [key, value] : notification.userInfo) {
                report[key] = std::any_cast<ObjectSet>(value).size();
            }
            reports.push_back(report);
        });
    insertPerson(view(), "Eve", 1);
    ann->setAge(31);
    view().deleteObject(bob);
    view().processPendingChanges();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0], (std::map<std::string, std::size_t>{
                              {"inserted", 1}, {"updated", 1}, {"deleted", 1}}));
    view().processPendingChanges();
    EXPECT_EQ(reports.size(), 1u);
}

TEST_F(ManagedObjectContextTest, DidSaveCarriesPermanentObjectIDs) {
    auto ann = insertPerson(view(), "Ann", 30);
    std::optional<ObjectIDSet> inserted;
    auto token = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kDidSaveNotification, &view(), [&](const Notification& notification) {
            inserted = std::any_cast<ObjectIDSet>(
                notification.userInfo.at(ManagedObjectContext::kInsertedObjectIDsKey));
        });
    view().save();
    ASSERT_TRUE(inserted.has_value());
    EXPECT_EQ(*inserted, ObjectIDSet{ann->objectID()});
    EXPECT_FALSE(inserted->begin()->isTemporaryID());
}

class MergeTest : public ManagedObjectContextTest {
  protected:
    MergeTest() {
        view().setAutomaticallyMergesChangesFromParent(true);
        view().setMergePolicy(MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
        token = NotificationCenter::defaultCenter().addObserver(
            ManagedObjectContext::kObjectsDidChangeNotification, &view(),
            [&](const Notification& notification) { changes.push_back(notification); });
    }

    std::size_t reported(std::size_t index, const char* key) const {
        auto found = changes.at(index).userInfo.find(key);
        return found == changes.at(index).userInfo.end()
                   ? 0
                   : std::any_cast<ObjectSet>(found->second).size();
    }

    std::vector<Notification> changes;
    ObservationToken token;
};

TEST_F(MergeTest, ASaveInABackgroundContextMergesInsertsUpdatesAndDeletes) {
    auto background = container->newBackgroundContext();
    ManagedObjectID annID;
    background->performAndWait([&] {
        auto ann = insertPerson(*background, "Ann", 30);
        insertPerson(*background, "Bob", 40);
        background->save();
        annID = ann->objectID();
    });
    drainMainQueue();
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(reported(0, "inserted"), 2u);
    auto people = view().fetch(peopleByName());
    ASSERT_EQ(names(people), (std::vector<std::string>{"Ann", "Bob"}));
    auto ann = people[0];
    auto bob = people[1];

    background->performAndWait([&] {
        auto other = std::dynamic_pointer_cast<Person>(background->existingObject(annID));
        other->setAge(31);
        background->save();
    });
    drainMainQueue();
    ASSERT_EQ(changes.size(), 2u);
    EXPECT_EQ(reported(1, "refreshed"), 1u);
    EXPECT_EQ(ann->age(), 31);

    background->performAndWait([&] {
        background->deleteObject(background->fetch(peopleByName())[1]);
        background->save();
    });
    drainMainQueue();
    ASSERT_EQ(changes.size(), 3u);
    EXPECT_EQ(reported(2, "deleted"), 1u);
    EXPECT_EQ(bob->managedObjectContext(), nullptr);
    EXPECT_EQ(names(view().fetch(peopleByName())), (std::vector<std::string>{"Ann"}));
}

TEST_F(MergeTest, AConflictIsResolvedPropertyByPropertyWithInMemoryValuesWinning) {
    auto ann = insertPerson(view(), "Ann", 30);
    ann->setValue(1.0, "score");
    view().save();
    const auto annID = ann->objectID();
    ann->setName("Anna");  // unsaved in the view context

    auto background = container->newBackgroundContext();
    background->performAndWait([&] {
        auto other = std::dynamic_pointer_cast<Person>(background->existingObject(annID));
        other->setName("Annie");
        other->setAge(31);
        background->save();
    });
    drainMainQueue();
    EXPECT_EQ(ann->name(), "Anna");  // changed here: kept
    EXPECT_EQ(ann->age(), 31);       // not changed here: merged
    view().save();

    background->performAndWait([&] {
        background->reset();
        auto other = std::dynamic_pointer_cast<Person>(background->existingObject(annID));
        EXPECT_EQ(other->name(), "Anna");
        EXPECT_EQ(other->age(), 31);
        EXPECT_EQ(other->value("score").real(), 1.0);
    });
}

TEST_F(ManagedObjectContextTest, AStaleSaveFailsUnderTheErrorPolicyAndMergesByPropertyOtherwise) {
    auto ann = insertPerson(view(), "Ann", 30);
    view().save();
    const auto annID = ann->objectID();
    auto background = container->newBackgroundContext();
    background->performAndWait([&] {
        auto other = std::dynamic_pointer_cast<Person>(background->existingObject(annID));
        other->setAge(31);
        background->save();
    });
    ann->setName("Anna");
    try {
        view().save();
        FAIL() << "a stale save should fail under the error policy";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), StoreError::kManagedObjectMergeError);
    }
    view().setMergePolicy(MergePolicy::mergeByPropertyObjectTrumpMergePolicy);
    view().save();
    EXPECT_EQ(ann->name(), "Anna");
    EXPECT_EQ(ann->age(), 31);
    background->performAndWait([&] {
        background->reset();
        auto other = std::dynamic_pointer_cast<Person>(background->existingObject(annID));
        EXPECT_EQ(other->name(), "Anna");
        EXPECT_EQ(other->age(), 31);
    });
}

TEST_F(ManagedObjectContextTest, PerformRunsOnTheContextsQueueAndProcessesPendingChanges) {
    auto background = container->newBackgroundContext();
    std::atomic<bool> onQueue{false};
    std::atomic<int> notifications{0};
    auto token = NotificationCenter::defaultCenter().addObserver(
        ManagedObjectContext::kObjectsDidChangeNotification, background.get(),
        [&](const Notification&) { ++notifications; });
    std::promise<void> done;
    background->perform([&] {
        onQueue = background->isOnQueue();
        insertPerson(*background, "Ann", 1);
        done.set_value();
    });
    done.get_future().wait();
    background->performAndWait([] {});
    EXPECT_TRUE(onQueue);
    EXPECT_FALSE(background->isOnQueue());
    EXPECT_EQ(notifications, 1);
}

#ifdef DOVREL_DEBUG
TEST(ManagedObjectContextDeathTest, TouchingAnObjectOffItsContextsQueueStops) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            TemporaryDirectory directory;
            auto container = makeLoadedContainer(directory.path() / "T.sqlite", makeTestModel());
            auto background = container->newBackgroundContext();
            std::shared_ptr<Person> person;
            background->performAndWait(
                [&] { person = background->insertNewObject<Person>("Person"); });
            person->setAge(3);
        },
        "Fatal error: Managed object of entity Person used off the queue of its context");
}
#endif

}  // namespace
}  // namespace dovrel::store

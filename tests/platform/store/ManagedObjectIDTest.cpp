#include "platform/store/ManagedObjectID.h"

#include <gtest/gtest.h>

#include <regex>

#include "platform/store/PersistentStoreCoordinator.h"
#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::TemporaryDirectory;

class ManagedObjectIDTest : public ::testing::Test {
  protected:
    TemporaryDirectory directory;
    std::shared_ptr<const ManagedObjectModel> model = makeTestModel();
    std::unique_ptr<PersistentContainer> container =
        makeLoadedContainer(directory.path() / "Test.sqlite", model);
    ManagedObjectContext& view() { return *container->viewContext(); }
    PersistentStoreCoordinator& coordinator() { return *container->persistentStoreCoordinator(); }
};

TEST_F(ManagedObjectIDTest, APermanentURIRoundTripsToTheSameObject) {
    auto person = view().insertNewObject("Person");
    view().save();
    const std::string uri = person->objectID().uriRepresentation();
    const std::string uuid = coordinator().persistentStores().front()->identifier();
    EXPECT_EQ(uri, "x-dovrel://" + uuid + "/Person/p1");
    auto id = coordinator().managedObjectID(uri);
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(*id, person->objectID());
    EXPECT_EQ(view().existingObject(*id).get(), person.get());
}

TEST_F(ManagedObjectIDTest, TheStoreUUIDIsStableAcrossReopening) {
    const auto uuid = coordinator().persistentStores().front()->identifier();
    EXPECT_TRUE(std::regex_match(
        uuid, std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")));
    auto person = view().insertNewObject("Person");
    view().save();
    const auto uri = person->objectID().uriRepresentation();
    container.reset();
    auto reopened = makeLoadedContainer(directory.path() / "Test.sqlite", model);
    EXPECT_EQ(reopened->persistentStoreCoordinator()->persistentStores().front()->identifier(),
              uuid);
    EXPECT_TRUE(reopened->persistentStoreCoordinator()->managedObjectID(uri).has_value());
}

TEST_F(ManagedObjectIDTest, ATemporaryIDHasItsOwnURIAndIsNotResolved) {
    auto person = view().insertNewObject("Person");
    const auto uri = person->objectID().uriRepresentation();
    EXPECT_TRUE(uri.starts_with("x-dovrel:///Person/t")) << uri;
    EXPECT_FALSE(coordinator().managedObjectID(uri).has_value());
}

TEST_F(ManagedObjectIDTest, AnotherStoresURIIsNotResolved) {
    auto other = makeLoadedContainer(directory.path() / "Other.sqlite", model);
    auto person = other->viewContext()->insertNewObject("Person");
    other->viewContext()->save();
    view().insertNewObject("Person");
    view().save();  // the same primary key exists here too
    EXPECT_FALSE(coordinator().managedObjectID(person->objectID().uriRepresentation()).has_value());
    EXPECT_TRUE(other->persistentStoreCoordinator()
                    ->managedObjectID(person->objectID().uriRepresentation())
                    .has_value());
}

TEST_F(ManagedObjectIDTest, AMalformedURIIsNotResolved) {
    auto person = view().insertNewObject("Person");
    view().save();
    const std::string uuid = coordinator().persistentStores().front()->identifier();
    for (const std::string& uri : {
             std::string(""),
             std::string("garbage"),
             "http://" + uuid + "/Person/p1",
             "x-dovrel://" + uuid + "/Person/1",
             "x-dovrel://" + uuid + "/Person/p",
             "x-dovrel://" + uuid + "/Person/p1x",
             "x-dovrel://" + uuid + "/Person/p-1",
             "x-dovrel://" + uuid + "/Person/p0",
             "x-dovrel://" + uuid + "/Nobody/p1",
             "x-dovrel://" + uuid + "/p1",
             std::string("x-dovrel://not-a-uuid/Person/p1"),
             "x-dovrel://" + uuid.substr(1) + "/Person/p1",
         }) {
        EXPECT_FALSE(coordinator().managedObjectID(uri).has_value()) << uri;
    }
}

TEST_F(ManagedObjectIDTest, ADeletedObjectsURIIsNotResolvedAndItsKeyIsNeverReused) {
    auto person = view().insertNewObject("Person");
    view().save();
    const auto uri = person->objectID().uriRepresentation();
    view().deleteObject(person);
    view().save();
    EXPECT_FALSE(coordinator().managedObjectID(uri).has_value());
    auto next = view().insertNewObject("Person");
    view().save();
    EXPECT_EQ(next->objectID().primaryKey(), 2);
    EXPECT_FALSE(coordinator().managedObjectID(uri).has_value());
    EXPECT_THROW(view().existingObject(person->objectID()), Error);
}

}  // namespace
}  // namespace dovrel::store

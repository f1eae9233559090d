#include "platform/store/FetchedResultsController.h"

#include <gtest/gtest.h>

#include "tests/platform/store/StoreTestModel.h"

namespace dovrel::store {
namespace {

using testing::drainMainQueue;
using testing::makeLoadedContainer;
using testing::makeTestModel;
using testing::Person;
using testing::TemporaryDirectory;

// Writes every report as one line, with the object's name.
class RecordingDelegate : public FetchedResultsControllerDelegate {
  public:
    void controllerWillChangeContent(FetchedResultsControllerBase&) override {
        lines.push_back("will");
    }
    void controller(FetchedResultsControllerBase&, const std::shared_ptr<ManagedObject>& object,
                    std::optional<IndexPath> indexPath, FetchedResultsChangeType type,
                    std::optional<IndexPath> newIndexPath) override {
        const std::string name = object->value("name").string().value_or("?");
        switch (type) {
            case FetchedResultsChangeType::insert:
                lines.push_back("insert " + name + " " + newIndexPath->description());
                break;
            case FetchedResultsChangeType::delete_:
                lines.push_back("delete " + name + " " + indexPath->description());
                break;
            case FetchedResultsChangeType::move:
                lines.push_back("move " + name + " " + indexPath->description() + " -> " +
                                newIndexPath->description());
                break;
            case FetchedResultsChangeType::update:
                lines.push_back("update " + name + " " + indexPath->description());
                break;
        }
    }
    void controller(FetchedResultsControllerBase&, const FetchedResultsSectionInfo& section,
                    std::size_t index, FetchedResultsChangeType type) override {
        lines.push_back(
            std::string(type == FetchedResultsChangeType::insert ? "insert" : "delete") +
            " section " + section.name + " " + std::to_string(index));
    }
    void controllerDidChangeContent(FetchedResultsControllerBase&) override {
        lines.push_back("did");
    }

    std::vector<std::string> take() { return std::exchange(lines, {}); }
    std::vector<std::string> lines;
};

class FetchedResultsControllerTest : public ::testing::Test {
  protected:
    FetchedResultsControllerTest() {
        container = makeLoadedContainer(directory.path() / "Test.sqlite", makeTestModel());
        context = container->viewContext();
        for (auto [name, age] :
             std::vector<std::pair<std::string, int>>{{"Ann", 10}, {"Bob", 20}, {"Cid", 30}}) {
            insert(name, age);
        }
        context->save();
    }

    std::shared_ptr<Person> insert(const std::string& name, std::int64_t age) {
        auto person = context->insertNewObject<Person>("Person");
        person->setName(name);
        person->setAge(age);
        return person;
    }

    std::unique_ptr<FetchedResultsController<Person>> makeController(
        std::optional<Predicate> predicate = std::nullopt) {
        FetchRequest<Person> request("Person");
        request.setSortDescriptors({{"age", true}});
        request.setPredicate(std::move(predicate));
        // A list shows every row, so the values come with the fetch (and stay readable for
        // objects that another context deletes).
        request.setReturnsObjectsAsFaults(false);
        auto controller = std::make_unique<FetchedResultsController<Person>>(request, context);
        controller->setDelegate(delegate);
        controller->performFetch();
        return controller;
    }

    std::vector<std::string> names(const FetchedResultsController<Person>& controller) {
        std::vector<std::string> result;
        for (const auto& person : controller.fetchedObjects()) {
            result.push_back(*person->name());
        }
        return result;
    }

    TemporaryDirectory directory;
    std::unique_ptr<PersistentContainer> container;
    std::shared_ptr<ManagedObjectContext> context;
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>();
};

TEST_F(FetchedResultsControllerTest, FetchesSortedObjectsWithIndexPaths) {
    auto controller = makeController();
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Ann", "Bob", "Cid"}));
    ASSERT_EQ(controller->sections().size(), 1u);
    EXPECT_EQ(controller->sections()[0].numberOfObjects(), 3u);
    auto bob = controller->object(IndexPath{0, 1});
    EXPECT_EQ(bob->name(), "Bob");
    EXPECT_EQ(controller->indexPath(bob), (IndexPath{0, 1}));
    EXPECT_EQ(controller->indexPath(insert("Eve", 5)), std::nullopt);
}

TEST_F(FetchedResultsControllerTest, ReportsInsertsBetweenWillAndDidChange) {
    auto controller = makeController();
    insert("Dan", 15);
    insert("Eve", 99);
    context->processPendingChanges();
    EXPECT_EQ(delegate->take(),
              (std::vector<std::string>{"will", "insert Dan [0, 1]", "insert Eve [0, 4]", "did"}));
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Ann", "Dan", "Bob", "Cid", "Eve"}));
}

TEST_F(FetchedResultsControllerTest, ReportsDeletesWithOldIndexPaths) {
    auto controller = makeController();
    context->deleteObject(controller->object({0, 0}));
    context->deleteObject(controller->object({0, 2}));
    context->save();
    EXPECT_EQ(delegate->take(),
              (std::vector<std::string>{"will", "delete Ann [0, 0]", "delete Cid [0, 2]", "did"}));
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Bob"}));
}

TEST_F(FetchedResultsControllerTest, ReportsAMoveWhenAChangeReordersAndAnUpdateOtherwise) {
    auto controller = makeController();
    controller->object({0, 0})->setAge(25);  // Ann passes Bob
    context->processPendingChanges();
    EXPECT_EQ(delegate->take(),
              (std::vector<std::string>{"will", "move Ann [0, 0] -> [0, 1]", "did"}));
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Bob", "Ann", "Cid"}));

    controller->object({0, 2})->setValue(true, "active");  // Cid changes in place
    context->processPendingChanges();
    EXPECT_EQ(delegate->take(), (std::vector<std::string>{"will", "update Cid [0, 2]", "did"}));
}

TEST_F(FetchedResultsControllerTest, AnUpdatedObjectShiftedOnlyByAnInsertIsAnUpdate) {
    auto controller = makeController();
    insert("Abe", 1);
    controller->object({0, 2})->setName("Cyd");
    context->processPendingChanges();
    EXPECT_EQ(delegate->take(),
              (std::vector<std::string>{"will", "insert Abe [0, 0]", "update Cyd [0, 2]", "did"}));
}

TEST_F(FetchedResultsControllerTest, ObjectsEnterAndLeaveByThePredicate) {
    auto controller = makeController(Key("age") >= 20);
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Bob", "Cid"}));
    auto all = context->fetch(FetchRequest<Person>("Person"));
    for (auto& person : all) {
        if (person->name() == "Ann") {
            person->setAge(40);  // comes in
        } else if (person->name() == "Bob") {
            person->setAge(5);  // goes out
        }
    }
    context->processPendingChanges();
    EXPECT_EQ(delegate->take(),
              (std::vector<std::string>{"will", "delete Bob [0, 0]", "insert Ann [0, 1]", "did"}));
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Cid", "Ann"}));
}

TEST_F(FetchedResultsControllerTest, ChangesOfOtherEntitiesAreNotReported) {
    auto controller = makeController();
    context->insertNewObject("Pet")->setValue("Rex", "name");
    context->processPendingChanges();
    EXPECT_TRUE(delegate->lines.empty());
}

TEST_F(FetchedResultsControllerTest, SectionsFollowTheSectionKey) {
    auto ann = context->fetch(FetchRequest<Person>("Person"));
    for (auto& person : ann) {
        person->setValue(person->age() >= 20, "active");
    }
    context->save();
    FetchRequest<Person> request("Person");
    request.setSortDescriptors({{"active", true}, {"age", true}});
    FetchedResultsController<Person> controller(request, context, "active");
    controller.setDelegate(delegate);
    controller.performFetch();
    ASSERT_EQ(controller.sections().size(), 2u);
    EXPECT_EQ(controller.sections()[0].name, "NO");
    EXPECT_EQ(controller.sections()[1].numberOfObjects(), 2u);
    EXPECT_EQ(controller.indexPath(controller.object({1, 1})), (IndexPath{1, 1}));

    controller.object({0, 0})->setValue(true, "active");  // Ann joins the second section
    context->processPendingChanges();
    EXPECT_EQ(delegate->take(), (std::vector<std::string>{"will", "delete section NO 0",
                                                          "move Ann [0, 0] -> [0, 0]", "did"}));
}

TEST_F(FetchedResultsControllerTest, AnotherContextsSaveIsReportedAfterTheMerge) {
    context->setAutomaticallyMergesChangesFromParent(true);
    auto controller = makeController();
    auto background = container->newBackgroundContext();
    background->performAndWait([&] {
        auto people = background->fetch(FetchRequest<Person>("Person"));
        for (auto& person : people) {
            if (person->name() == "Cid") {
                person->setAge(1);
            } else if (person->name() == "Bob") {
                background->deleteObject(person);
            }
        }
        auto eve = background->insertNewObject<Person>("Person");
        eve->setName("Eve");
        eve->setAge(50);
        background->save();
    });
    drainMainQueue();
    EXPECT_EQ(delegate->take(),
              (std::vector<std::string>{"will", "delete Bob [0, 1]", "insert Eve [0, 2]",
                                        "move Cid [0, 2] -> [0, 0]", "did"}));
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Cid", "Ann", "Eve"}));
}

TEST_F(FetchedResultsControllerTest, AResetReportsEveryObjectAnew) {
    auto controller = makeController();
    context->reset();
    auto lines = delegate->take();
    ASSERT_EQ(lines.size(), 8u);
    EXPECT_EQ(lines.front(), "will");
    EXPECT_EQ(lines[1], "delete Ann [0, 0]");
    EXPECT_EQ(lines[4], "insert Ann [0, 0]");
    EXPECT_EQ(lines.back(), "did");
    EXPECT_EQ(names(*controller), (std::vector<std::string>{"Ann", "Bob", "Cid"}));
}

}  // namespace
}  // namespace dovrel::store

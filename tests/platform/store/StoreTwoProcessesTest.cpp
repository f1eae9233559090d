#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "tests/platform/store/StoreSyncSupport.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/RunProgram.h"

// Two processes on one store file: this test and the peer program it starts.
namespace dovrel::store {
namespace {

using ::testing::ElementsAre;
using testing::incrementInTurn;
using testing::makeSyncContainer;
using testing::Person;
using testing::TemporaryDirectory;

constexpr auto kBoundedWait = std::chrono::seconds(5);

class StoreTwoProcessesTest : public ::testing::Test {
  protected:
    StoreTwoProcessesTest() {
        container = makeSyncContainer(file);
        context = container ? container->viewContext() : nullptr;
    }

    std::shared_ptr<Person> insert(const std::string& name, std::int64_t age) {
        auto person = context->insertNewObject<Person>("Person");
        person->setName(name);
        person->setAge(age);
        return person;
    }

    // The next line of the peer that is not a remote-change report (those are counted).
    std::optional<std::string> nextReport(::dovrel::testing::ChildProcess& peer) {
        for (;;) {
            auto line = peer.readLine(kBoundedWait);
            if (!line || !line->starts_with("remote-change ")) {
                return line;
            }
            remoteChanges.push_back(std::stoll(line->substr(14)));
        }
    }

    TemporaryDirectory directory;
    std::filesystem::path file = directory.path() / "Shared.sqlite";
    std::unique_ptr<PersistentContainer> container;
    std::shared_ptr<ManagedObjectContext> context;
    std::vector<std::int64_t> remoteChanges;
};

TEST_F(StoreTwoProcessesTest, TheSecondProcessFollowsInsertsUpdatesAndDeletesOfTheFirst) {
    ASSERT_NE(container, nullptr);
    ::dovrel::testing::ChildProcess peer({DOVREL_STORE_SYNC_PEER_PATH, "watch", file.string()});
    ASSERT_EQ(peer.readLine(kBoundedWait), "ready");

    auto ada = insert("Ada", 1);
    context->save();
    EXPECT_EQ(nextReport(peer), "insert Ada 1");
    ada->setAge(2);
    context->save();
    EXPECT_EQ(nextReport(peer), "update Ada 2");
    context->deleteObject(ada);
    context->save();
    EXPECT_EQ(nextReport(peer), "delete Ada");

    peer.closeInput();
    // Reports of the last change may follow the last object report.
    while (auto line = nextReport(peer)) {
        ADD_FAILURE() << "unexpected report " << *line;
    }
    EXPECT_EQ(peer.wait(), 0);
    auto& store = *container->persistentStoreCoordinator()->persistentStores().front();
    ASSERT_FALSE(remoteChanges.empty());
    EXPECT_EQ(remoteChanges.back(), store.currentHistoryToken().transactionNumber);
}

TEST_F(StoreTwoProcessesTest, TheFirstProcessFollowsTheWritesOfTheSecond) {
    ASSERT_NE(container, nullptr);
    context->setAutomaticallyMergesChangesFromParent(true);
    std::vector<std::string> reports;
    class Delegate : public FetchedResultsControllerDelegate {
      public:
        explicit Delegate(std::vector<std::string>& reports) : reports_(reports) {}
        void controller(FetchedResultsControllerBase&, const std::shared_ptr<ManagedObject>& object,
                        std::optional<IndexPath>, FetchedResultsChangeType type,
                        std::optional<IndexPath>) override {
            const std::string name = object->value("name").string().value_or("?");
            const auto age = object->value("age").integer().value_or(0);
            reports_.push_back(type == FetchedResultsChangeType::insert ? "insert " + name
                               : type == FetchedResultsChangeType::delete_
                                   ? "delete " + name
                                   : "update " + name + " " + std::to_string(age));
        }

      private:
        std::vector<std::string>& reports_;
    };
    auto delegate = std::make_shared<Delegate>(reports);
    FetchRequest<Person> request("Person");
    request.setSortDescriptors({{"name", true}});
    request.setReturnsObjectsAsFaults(false);
    FetchedResultsController<Person> controller(request, context);
    controller.setDelegate(delegate);
    controller.performFetch();
    std::atomic<int> remote = 0;
    auto observation = NotificationCenter::defaultCenter().addObserver(
        PersistentStoreCoordinator::kPersistentStoreRemoteChangeNotification,
        container->persistentStoreCoordinator().get(), [&](const Notification&) { ++remote; });

    for (const std::string operation : {"insert:Bo:1", "update:Bo:5", "delete:Bo"}) {
        auto result = ::dovrel::testing::runProgram(
            {DOVREL_STORE_SYNC_PEER_PATH, "write", file.string(), operation});
        ASSERT_EQ(result.exitStatus, 0) << result.standardError;
        const auto before = reports.size();
        EXPECT_TRUE(MainRunLoop::runUntil([&] { return reports.size() > before; }, kBoundedWait))
            << operation;
    }
    EXPECT_THAT(reports, ElementsAre("insert Bo", "update Bo 5", "delete Bo"));
    // The announcement is posted on the coordinator's queue, independently of the merge.
    EXPECT_TRUE(MainRunLoop::runUntil([&] { return remote.load() >= 3; }, kBoundedWait));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(remote.load(), 3);
    auto history = container->persistentStoreCoordinator()->fetchHistory();
    ASSERT_EQ(history.size(), 3u);
    EXPECT_EQ(history[0].author, "peer");
}

TEST_F(StoreTwoProcessesTest, TwoProcessesIncrementTheSameObjectsTenThousandTimesLosingNothing) {
    ASSERT_NE(container, nullptr);
    insert("Odd", 0);
    insert("Even", 0);
    context->save();
    constexpr std::int64_t kEach = 5000;
    ::dovrel::testing::ChildProcess peer({DOVREL_STORE_SYNC_PEER_PATH, "increment", file.string(),
                                          std::to_string(kEach), "Odd", "Even"});
    ASSERT_EQ(peer.readLine(kBoundedWait), "ready");
    auto background = container->newBackgroundContext();
    peer.writeLine("go");
    // Any error other than a merge conflict (a busy file above all) would be thrown here.
    EXPECT_NO_THROW(incrementInTurn(*background, {"Even", "Odd"}, kEach));
    auto done = peer.readLine(std::chrono::seconds(120));
    ASSERT_TRUE(done.has_value());
    EXPECT_TRUE(done->starts_with("done ")) << *done;
    EXPECT_EQ(peer.wait(), 0);

    for (const char* name : {"Odd", "Even"}) {
        FetchRequest<Person> request("Person");
        request.setPredicate(Key("name") == std::string(name));
        auto people = context->fetch(request);
        ASSERT_EQ(people.size(), 1u);
        context->refresh(people.front(), false);
        EXPECT_EQ(people.front()->age(), kEach) << name;
        EXPECT_EQ(people.front()->value("active").boolean(), false) << name;
    }
}

}  // namespace
}  // namespace dovrel::store

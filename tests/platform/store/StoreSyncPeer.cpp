// The second process of the tests of two processes on one store. It speaks line by line on
// standard input and output:
//
//   store_sync_peer watch STORE
//       follows the people of the store with a fetched-results controller on the view context
//       (which merges automatically) and writes "insert NAME AGE", "update NAME AGE" and
//       "delete NAME" for each report, and "remote-change N" for each remote-change
//       notification (N: the history token's transaction number); "ready" once it follows.
//       Ends at end of input.
//   store_sync_peer write STORE OPERATION...
//       saves each operation in turn on a background context and writes "saved" after each:
//       insert:NAME:AGE, update:NAME:AGE, delete:NAME. Then "done".
//   store_sync_peer increment STORE ITERATIONS NAME...
//       writes "ready", waits for a line "go", then runs incrementInTurn and writes
//       "done REPEATED".
// Failures are written to standard error, with exit status 1.

#include <atomic>
#include <chrono>
#include <iostream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/dispatch/MainRunLoop.h"
#include "platform/store/FetchedResultsController.h"
#include "platform/store/PersistentStoreCoordinator.h"
#include "tests/platform/store/StoreSyncSupport.h"

namespace {

using namespace dovrel;
using namespace dovrel::store;
using namespace dovrel::store::testing;

std::mutex outputMutex;

void say(const std::string& line) {
    std::lock_guard lock(outputMutex);
    std::cout << line << std::endl;
}

// Prints the described changes, a line each.
class PrintingDelegate : public DescribingDelegate {
  public:
    PrintingDelegate() : DescribingDelegate([](std::string line) { say(line); }) {}
};

int watch(const std::string& file) {
    auto container = makeSyncContainer(file);
    if (!container) {
        std::cerr << "the store did not load\n";
        return 1;
    }
    auto observation = NotificationCenter::defaultCenter().addObserver(
        PersistentStoreCoordinator::kPersistentStoreRemoteChangeNotification,
        container->persistentStoreCoordinator().get(), [](const Notification& notification) {
            auto found =
                notification.userInfo.find(PersistentStoreCoordinator::kPersistentHistoryTokenKey);
            const auto* token = found == notification.userInfo.end()
                                    ? nullptr
                                    : std::any_cast<PersistentHistoryToken>(&found->second);
            say("remote-change " + (token ? std::to_string(token->transactionNumber) : "-"));
        });
    auto context = container->viewContext();
    context->setAutomaticallyMergesChangesFromParent(true);
    FetchRequest<Person> request("Person");
    request.setSortDescriptors({{"name", true}});
    request.setReturnsObjectsAsFaults(false);
    FetchedResultsController<Person> controller(request, context);
    auto delegate = std::make_shared<PrintingDelegate>();
    controller.setDelegate(delegate);
    controller.performFetch();
    say("ready");
    std::atomic<bool> ended = false;
    std::thread input([&] {
        std::string line;
        while (std::getline(std::cin, line)) {
        }
        ended = true;
    });
    while (!ended) {
        MainRunLoop::runUntil([&] { return ended.load(); }, std::chrono::milliseconds(100));
    }
    input.join();
    return 0;
}

int write(const std::string& file, const std::vector<std::string>& operations) {
    auto container = makeSyncContainer(file);
    if (!container) {
        std::cerr << "the store did not load\n";
        return 1;
    }
    auto context = container->newBackgroundContext();
    context->setTransactionAuthor("peer");
    for (const auto& operation : operations) {
        std::vector<std::string> parts;
        std::size_t start = 0;
        for (std::size_t colon; (colon = operation.find(':', start)) != std::string::npos;
             start = colon + 1) {
            parts.push_back(operation.substr(start, colon - start));
        }
        parts.push_back(operation.substr(start));
        context->performAndWait([&] {
            if (parts[0] == "insert") {
                auto person = context->insertNewObject<Person>("Person");
                person->setName(parts.at(1));
                person->setAge(std::stoll(parts.at(2)));
            } else {
                FetchRequest<Person> request("Person");
                request.setPredicate(Key("name") == parts.at(1));
                for (auto& person : context->fetch(request)) {
                    if (parts[0] == "update") {
                        person->setAge(std::stoll(parts.at(2)));
                    } else {
                        context->deleteObject(person);
                    }
                }
            }
            context->save();
        });
        say("saved");
    }
    say("done");
    return 0;
}

int increment(const std::string& file, std::int64_t iterations,
              const std::vector<std::string>& names) {
    auto container = makeSyncContainer(file);
    if (!container) {
        std::cerr << "the store did not load\n";
        return 1;
    }
    auto context = container->newBackgroundContext();
    say("ready");
    std::string line;
    if (!std::getline(std::cin, line) || line != "go") {
        std::cerr << "no go\n";
        return 1;
    }
    const auto repeated = incrementInTurn(*context, names, iterations);
    say("done " + std::to_string(repeated));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        if (arguments.size() == 2 && arguments[0] == "watch") {
            return watch(arguments[1]);
        }
        if (arguments.size() >= 2 && arguments[0] == "write") {
            return write(arguments[1], {arguments.begin() + 2, arguments.end()});
        }
        if (arguments.size() >= 4 && arguments[0] == "increment") {
            return increment(arguments[1], std::stoll(arguments[2]),
                             {arguments.begin() + 3, arguments.end()});
        }
    } catch (const Error& error) {
        std::cerr << "error: " << error.domain() << " " << error.code() << " "
                  << error.localizedDescription() << "\n";
        return 1;
    }
    std::cerr << "usage: store_sync_peer watch|write|increment STORE ...\n";
    return 2;
}

#include "platform/foundation/Logging.h"

#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>

#include <map>
#include <mutex>
#include <vector>

namespace dovrel {

namespace {

struct NamedLogger {
    std::shared_ptr<spdlog::logger> logger;
    std::shared_ptr<spdlog::sinks::dist_sink_mt> destinations;
    // The same destinations, for counting: dist_sink offers no locked read of its list.
    std::vector<spdlog::sink_ptr> added;
};

std::mutex& registryMutex() {
    static std::mutex mutex;
    return mutex;
}

NamedLogger& entry(const std::string& name) {
    // Deliberately never destroyed: services may log from static destructors of other objects.
    static auto* loggers = new std::map<std::string, NamedLogger>();
    std::lock_guard lock(registryMutex());
    auto found = loggers->find(name);
    if (found == loggers->end()) {
        auto destinations = std::make_shared<spdlog::sinks::dist_sink_mt>();
        destinations->set_level(spdlog::level::trace);
        auto logger = std::make_shared<spdlog::logger>(name, destinations);
        logger->set_level(spdlog::level::debug);
        logger->flush_on(spdlog::level::debug);
        found = loggers->emplace(name, NamedLogger{std::move(logger), std::move(destinations), {}})
                    .first;
    }
    return found->second;
}

}  // namespace

std::shared_ptr<spdlog::logger> namedLogger(const std::string& name) {
    return entry(name).logger;
}

void addLogDestination(const std::string& name, spdlog::sink_ptr destination) {
    NamedLogger& logger = entry(name);
    std::lock_guard lock(registryMutex());
    logger.added.push_back(destination);
    logger.destinations->add_sink(std::move(destination));
}

void removeLogDestination(const std::string& name, const spdlog::sink_ptr& destination) {
    NamedLogger& logger = entry(name);
    std::lock_guard lock(registryMutex());
    std::erase(logger.added, destination);
    logger.destinations->remove_sink(destination);
}

std::size_t logDestinationCount(const std::string& name) {
    NamedLogger& logger = entry(name);
    std::lock_guard lock(registryMutex());
    return logger.added.size();
}

spdlog::sink_ptr makeConsoleLogDestination() {
    auto console = std::make_shared<spdlog::sinks::stderr_color_sink_mt>();
    console->set_pattern("%H:%M:%S.%e %^%l%$ %v");
    console->set_level(spdlog::level::trace);
    return console;
}

}  // namespace dovrel

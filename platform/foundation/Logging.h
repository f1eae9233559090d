#pragma once

#include <spdlog/logger.h>
#include <spdlog/sinks/sink.h>

#include <cstddef>
#include <memory>
#include <string>

namespace dovrel {

// Process-wide named loggers over spdlog. Each logger logs at every level from debug up and
// writes to a set of destinations (spdlog sinks) that may grow and shrink while other threads log:
// the logger's one sink is a distributing sink that holds the destinations under its own lock.
// A logger starts with no destination, so it writes nowhere until one is added. Loggers live for
// the whole process.

// The logger named `name`, created on first use. Safe to call from any thread.
std::shared_ptr<spdlog::logger> namedLogger(const std::string& name);

// Adds `destination` to the logger named `name` (created if needed).
void addLogDestination(const std::string& name, spdlog::sink_ptr destination);

// Removes `destination` from the logger named `name`; nothing happens if it is not there.
void removeLogDestination(const std::string& name, const spdlog::sink_ptr& destination);

// How many destinations the logger named `name` has now.
std::size_t logDestinationCount(const std::string& name);

// A new console destination: standard error, coloured when it is a terminal, lines of the form
// "14:03:07.123 debug message".
spdlog::sink_ptr makeConsoleLogDestination();

}  // namespace dovrel

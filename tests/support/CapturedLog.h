#pragma once

#include <spdlog/sinks/ostream_sink.h>

#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/foundation/Logging.h"

namespace dovrel::testing {

// The lines written to one named logger while the object lives, each formatted with an spdlog
// pattern ("%v": the message only; "%l %v": "<level> <message>").
class CapturedLog {
  public:
    explicit CapturedLog(std::string loggerName, const std::string& pattern = "%v")
        : loggerName_(std::move(loggerName)),
          sink_(std::make_shared<spdlog::sinks::ostream_sink_mt>(stream_)) {
        sink_->set_pattern(pattern);
        addLogDestination(loggerName_, sink_);
    }
    ~CapturedLog() { removeLogDestination(loggerName_, sink_); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> lines() const {
        sink_->flush();
        std::vector<std::string> result;
        std::istringstream text(stream_.str());
        for (std::string line; std::getline(text, line);) {
            result.push_back(line);
        }
        return result;
    }

  private:
    std::string loggerName_;
    std::ostringstream stream_;
    spdlog::sink_ptr sink_;
};

}  // namespace dovrel::testing

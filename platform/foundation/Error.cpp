#include "platform/foundation/Error.h"

#include <utility>

namespace dovrel {

namespace {

std::string describe(const std::string& domain, std::int64_t code,
                     const Error::UserInfo& userInfo) {
    if (auto found = userInfo.find(Error::kLocalizedDescriptionKey); found != userInfo.end()) {
        return found->second;
    }
    return "The operation couldn’t be completed. (" + domain + " error " + std::to_string(code) +
           ".)";
}

}  // namespace

Error::Error(std::string domain, std::int64_t code, UserInfo userInfo)
    : std::runtime_error(describe(domain, code, userInfo)),
      domain_(std::move(domain)),
      code_(code),
      userInfo_(std::move(userInfo)) {}

std::string Error::localizedDescription() const { return what(); }

}  // namespace dovrel

#include "platform/foundation/NotificationCenter.h"

#include <algorithm>
#include <utility>

namespace dovrel {

ObservationToken::ObservationToken(ObservationToken&& other) noexcept
    : center_(std::exchange(other.center_, nullptr)), id_(other.id_) {}

ObservationToken& ObservationToken::operator=(ObservationToken&& other) noexcept {
    if (this != &other) {
        reset();
        center_ = std::exchange(other.center_, nullptr);
        id_ = other.id_;
    }
    return *this;
}

ObservationToken::~ObservationToken() {
    reset();
}

void ObservationToken::reset() {
    if (auto* center = std::exchange(center_, nullptr)) {
        center->removeObserver(id_);
    }
}

NotificationCenter& NotificationCenter::defaultCenter() {
    // Never destroyed: observers held in static tokens may be removed during process exit.
    static auto* center = new NotificationCenter();
    return *center;
}

ObservationToken NotificationCenter::addObserver(std::optional<std::string> name,
                                                 const void* object, Handler handler) {
    std::lock_guard lock(mutex_);
    const std::uint64_t id = nextId_++;
    observers_.push_back(
        Observer{id, std::move(name), object, std::make_shared<const Handler>(std::move(handler))});
    return ObservationToken(this, id);
}

void NotificationCenter::removeObserver(std::uint64_t id) {
    std::lock_guard lock(mutex_);
    std::erase_if(observers_, [id](const Observer& observer) { return observer.id == id; });
}

void NotificationCenter::post(const Notification& notification) {
    // Snapshot the matching handlers so that they run without the lock.
    std::vector<std::shared_ptr<const Handler>> matching;
    {
        std::lock_guard lock(mutex_);
        for (const auto& observer : observers_) {
            const bool nameMatches = !observer.name || *observer.name == notification.name;
            const bool senderMatches = !observer.object || observer.object == notification.object;
            if (nameMatches && senderMatches) {
                matching.push_back(observer.handler);
            }
        }
    }
    for (const auto& handler : matching) {
        (*handler)(notification);
    }
}

void NotificationCenter::post(std::string name, const void* object,
                              std::map<std::string, std::any> userInfo) {
    post(Notification{std::move(name), object, std::move(userInfo)});
}

std::size_t NotificationCenter::observerCount() const {
    std::lock_guard lock(mutex_);
    return observers_.size();
}

}  // namespace dovrel

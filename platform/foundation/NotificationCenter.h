#pragma once

#include <any>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace dovrel {

// A broadcast message: a name, the object that sent it (compared by identity; may be null) and
// details by key.
struct Notification {
    std::string name;
    const void* object = nullptr;
    std::map<std::string, std::any> userInfo;
};

class NotificationCenter;

// Keeps an observer registered for as long as it lives; destroying or resetting the token
// removes the observer. Move-only. A token may outlive its center's observers safely, but not the
// center itself (the default center lives for the whole process).
class ObservationToken {
  public:
    ObservationToken() = default;
    ObservationToken(ObservationToken&& other) noexcept;
    ObservationToken& operator=(ObservationToken&& other) noexcept;
    ObservationToken(const ObservationToken&) = delete;
    ObservationToken& operator=(const ObservationToken&) = delete;
    ~ObservationToken();

    // Removes the observer now (nothing happens if it was already removed).
    void reset();
    bool isActive() const noexcept { return center_ != nullptr; }

  private:
    friend class NotificationCenter;
    ObservationToken(NotificationCenter* center, std::uint64_t id) : center_(center), id_(id) {}

    NotificationCenter* center_ = nullptr;
    std::uint64_t id_ = 0;
};

// In-process notifications. Posting delivers synchronously on the posting thread, to every
// observer registered at the moment of the post whose name and sender filters match, in order of
// registration. Observers run without the center's lock held, so they may post, add or remove
// observers themselves; an observer removed during a post may still receive that post if the
// delivery had already started on another thread. Safe to use from any thread.
class NotificationCenter {
  public:
    using Handler = std::function<void(const Notification&)>;

    NotificationCenter() = default;
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    // The process-wide center.
    static NotificationCenter& defaultCenter();

    // Registers `handler` for notifications called `name` (every name when absent) sent by
    // `object` (any sender when null). The observer lives as long as the returned token.
    [[nodiscard]] ObservationToken addObserver(std::optional<std::string> name, const void* object,
                                               Handler handler);

    void post(const Notification& notification);
    void post(std::string name, const void* object = nullptr,
              std::map<std::string, std::any> userInfo = {});

    // The number of registered observers (for diagnostics and tests).
    std::size_t observerCount() const;

  private:
    friend class ObservationToken;
    void removeObserver(std::uint64_t id);

    struct Observer {
        std::uint64_t id;
        std::optional<std::string> name;
        const void* object;
        std::shared_ptr<const Handler> handler;
    };

    mutable std::mutex mutex_;
    std::uint64_t nextId_ = 1;
    std::vector<Observer> observers_;
};

}  // namespace dovrel

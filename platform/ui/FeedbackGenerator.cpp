#include "platform/ui/FeedbackGenerator.h"

#include <canberra.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace dovrel::ui {

namespace {

// Plays sound events one after another on a thread of its own. Opening a sound context can
// take a while (connecting to a sound server that may not exist), so callers only queue. A
// queue that is full drops the event: late feedback is worse than none. The player lives for
// the whole process and its thread is detached, so exiting never waits for a sound server.
class SoundPlayer {
  public:
    static SoundPlayer& shared() {
        static SoundPlayer* const player = new SoundPlayer();
        return *player;
    }

    void play(std::string_view event) {
        {
            std::lock_guard lock(mutex_);
            if (observer_) {
                observer_(event);
            }
            startLocked();
            if (queue_.size() >= kQueueLimit) {
                return;
            }
            queue_.emplace_back(event);
        }
        wake_.notify_one();
    }

    void prepare() {
        std::lock_guard lock(mutex_);
        startLocked();
    }

    void setObserver(std::function<void(std::string_view)> observer) {
        std::lock_guard lock(mutex_);
        observer_ = std::move(observer);
    }

  private:
    static constexpr std::size_t kQueueLimit = 4;

    void startLocked() {
        if (!started_) {
            started_ = true;
            std::thread([this] { run(); }).detach();
        }
    }

    void run() {
        ca_context* context = nullptr;
        bool available = ca_context_create(&context) == CA_SUCCESS;
        if (available) {
            ca_context_change_props(context, CA_PROP_APPLICATION_NAME, "Dovrel",
                                    CA_PROP_APPLICATION_ID, "dovrel", nullptr);
            available = ca_context_open(context) == CA_SUCCESS;
        }
        for (;;) {
            std::string event;
            {
                std::unique_lock lock(mutex_);
                wake_.wait(lock, [this] { return !queue_.empty(); });
                event = std::move(queue_.front());
                queue_.pop_front();
            }
            if (available) {
                // Errors (no such sound in the theme, a server that went away) are not ours to
                // report: feedback is best effort.
                ca_context_play(context, 0, CA_PROP_EVENT_ID, event.c_str(),
                                CA_PROP_CANBERRA_CACHE_CONTROL, "volatile", nullptr);
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::string> queue_;
    std::function<void(std::string_view)> observer_;
    bool started_ = false;
};

}  // namespace

std::string_view soundEvent(NotificationFeedbackGenerator::FeedbackType type) {
    switch (type) {
        case NotificationFeedbackGenerator::FeedbackType::success:
            return "complete";
        case NotificationFeedbackGenerator::FeedbackType::warning:
            return "dialog-warning";
        case NotificationFeedbackGenerator::FeedbackType::error:
            return "dialog-error";
    }
    return "complete";
}

std::string_view soundEvent(ImpactFeedbackGenerator::FeedbackStyle style) {
    switch (style) {
        case ImpactFeedbackGenerator::FeedbackStyle::light:
            return "button-pressed";
        case ImpactFeedbackGenerator::FeedbackStyle::medium:
            return "button-toggle-on";
        case ImpactFeedbackGenerator::FeedbackStyle::heavy:
            return "bell";
    }
    return "button-pressed";
}

std::string_view selectionSoundEvent() {
    return "message";
}

void NotificationFeedbackGenerator::prepare() {
    SoundPlayer::shared().prepare();
}

void NotificationFeedbackGenerator::notificationOccurred(FeedbackType type) {
    SoundPlayer::shared().play(soundEvent(type));
}

void ImpactFeedbackGenerator::prepare() {
    SoundPlayer::shared().prepare();
}

void ImpactFeedbackGenerator::impactOccurred() {
    SoundPlayer::shared().play(soundEvent(style_));
}

void SelectionFeedbackGenerator::prepare() {
    SoundPlayer::shared().prepare();
}

void SelectionFeedbackGenerator::selectionChanged() {
    SoundPlayer::shared().play(selectionSoundEvent());
}

void setFeedbackSoundObserver(std::function<void(std::string_view event)> observer) {
    SoundPlayer::shared().setObserver(std::move(observer));
}

}  // namespace dovrel::ui

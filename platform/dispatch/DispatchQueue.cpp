#include "platform/dispatch/DispatchQueue.h"

#include <asio/post.hpp>
#include <asio/steady_timer.hpp>

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "platform/dispatch/DispatchGroup.h"
#include "platform/dispatch/DispatchRuntime.h"
#include "platform/foundation/FatalError.h"

namespace dovrel {

namespace dispatch_detail {

class QueueCore {
  public:
    QueueCore(std::string label, bool serial) : label_(std::move(label)), serial_(serial) {}
    virtual ~QueueCore() = default;

    virtual void async(std::function<void()> work) = 0;
    virtual void sync(const std::function<void()>& work) = 0;

    const std::string& label() const noexcept { return label_; }
    bool isSerial() const noexcept { return serial_; }

  protected:
    // Runs a closure submitted with async: an escaping exception is a programming error.
    void runSubmitted(const std::function<void()>& work) const {
        try {
            work();
        } catch (const std::exception& exception) {
            fatalError("Uncaught exception in a closure on the dispatch queue \"" + label_ +
                       "\": " + exception.what());
        } catch (...) {
            fatalError("Uncaught exception in a closure on the dispatch queue \"" + label_ + "\"");
        }
    }

  private:
    std::string label_;
    bool serial_;
};

namespace {

// The serial queues whose closures the current thread is running, innermost last (a closure on
// one queue may sync onto another).
thread_local std::vector<const QueueCore*> runningQueues;

class RunningOnThisThread {
  public:
    explicit RunningOnThisThread(const QueueCore* queue) { runningQueues.push_back(queue); }
    ~RunningOnThisThread() { runningQueues.pop_back(); }
    RunningOnThisThread(const RunningOnThisThread&) = delete;
    RunningOnThisThread& operator=(const RunningOnThisThread&) = delete;
};

// A serial queue. At most one party owns the queue at a time and only the owner runs closures:
// a drain job posted to the queue's executor (the pool, or the main loop) that runs the async
// closures in order, or a thread inside sync that runs its own closure.
//
// Async closures are numbered in submission order. A sync caller takes a ticket, the number of
// async closures submitted before it, and may own the queue once those have all completed; the
// drain stops before running a closure numbered at or past a waiting caller's ticket, so closures
// submitted after a sync call wait for it. Sync callers do not queue among themselves: whichever
// eligible caller finds the queue free takes it. Strict first-come order between concurrent sync
// callers would hand the queue from one sleeping thread to the next for every call, which makes
// the short closures of an Atomic box cost a context switch each.
class SerialCore final : public QueueCore, public std::enable_shared_from_this<SerialCore> {
  public:
    using Poster = void (*)(std::function<void()>);

    // A thread-bound queue (the main queue) runs every closure, even one given to sync, on the
    // thread that drives its loop.
    SerialCore(std::string label, Poster post, bool threadBound)
        : QueueCore(std::move(label), true), post_(post), threadBound_(threadBound) {}

    void async(std::function<void()> work) override {
        bool startDrain = false;
        {
            std::lock_guard lock(mutex_);
            items_.push_back(std::move(work));
            ++submitted_;
            if (!owned_) {
                startDrain = passOn();
            }
        }
        if (startDrain) {
            scheduleDrain();
        }
    }

    void sync(const std::function<void()>& work) override {
        if (std::find(runningQueues.begin(), runningQueues.end(), this) != runningQueues.end()) {
            fatalError("DispatchQueue.sync called on the serial queue \"" + label() +
                       "\" from a closure that it is running (it would wait for itself forever)");
        }
        if (threadBound_) {
            syncThroughTheLoop(work);
            return;
        }
        acquireForSync();
        // The queue is ours now; pass it on however the closure ends.
        struct Release {
            SerialCore* core;
            ~Release() { core->releaseAfterSync(); }
        } release{this};
        RunningOnThisThread running(this);
        work();
    }

  private:
    // Closures run per drain job before the job yields its thread to other queues.
    static constexpr int kClosuresPerDrain = 64;
    // Times a sync caller looks for the queue free, yielding between looks, before it sleeps.
    static constexpr int kSpinAttempts = 64;

    void scheduleDrain() {
        post_([self = shared_from_this()] { self->drain(); });
    }

    bool eligibleSyncCallerWaits() const {
        return !syncTickets_.empty() && *syncTickets_.begin() <= completed_;
    }

    // Decides who gets the queue next; called with the lock held while nobody owns it. Returns
    // true when the caller must schedule a drain (the queue is then owned for it).
    bool passOn() {
        if (eligibleSyncCallerWaits()) {
            if (sleepers_ > 0) {
                available_.notify_all();
            }
            return false;  // that caller takes the queue itself
        }
        if (!items_.empty()) {
            owned_ = true;
            return true;
        }
        return false;
    }

    void acquireForSync() {
        std::unique_lock lock(mutex_);
        const std::uint64_t ticket = submitted_;
        const auto registered = syncTickets_.insert(ticket);
        auto free = [this, ticket] { return !owned_ && completed_ >= ticket; };
        for (int attempt = 0; attempt < kSpinAttempts && !free(); ++attempt) {
            lock.unlock();
            std::this_thread::yield();
            lock.lock();
        }
        if (!free()) {
            ++sleepers_;
            available_.wait(lock, free);
            --sleepers_;
        }
        owned_ = true;
        syncTickets_.erase(registered);
    }

    void releaseAfterSync() {
        bool startDrain = false;
        {
            std::lock_guard lock(mutex_);
            owned_ = false;
            startDrain = passOn();
        }
        if (startDrain) {
            scheduleDrain();
        }
    }

    // Submits `work` like async and waits until the loop has run it.
    void syncThroughTheLoop(const std::function<void()>& work) {
        std::mutex mutex;
        std::condition_variable finished;
        bool isFinished = false;
        std::exception_ptr error;
        async([&] {
            try {
                work();
            } catch (...) {
                error = std::current_exception();
            }
            std::lock_guard lock(mutex);
            isFinished = true;
            finished.notify_one();
        });
        std::unique_lock lock(mutex);
        finished.wait(lock, [&] { return isFinished; });
        if (error) {
            std::rethrow_exception(error);
        }
    }

    void drain() {
        for (int count = 0; count < kClosuresPerDrain; ++count) {
            std::function<void()> work;
            {
                std::lock_guard lock(mutex_);
                if (items_.empty() || eligibleSyncCallerWaits()) {
                    // Done, or a sync caller's turn: give the queue up.
                    owned_ = false;
                    if (passOn()) {
                        break;  // more closures and nobody else eligible: continue below
                    }
                    return;
                }
                work = std::move(items_.front());
                items_.pop_front();
            }
            {
                RunningOnThisThread running(this);
                runSubmitted(work);
            }
            if (threadBound_) {
                mainClosuresRun().fetch_add(1, std::memory_order_relaxed);
            }
            std::lock_guard lock(mutex_);
            ++completed_;
        }
        scheduleDrain();  // still owned: continue in a fresh job
    }

    Poster post_;
    bool threadBound_;
    std::mutex mutex_;
    std::condition_variable available_;
    std::deque<std::function<void()>> items_;
    std::uint64_t submitted_ = 0;  // async closures ever submitted
    std::uint64_t completed_ = 0;  // async closures ever finished
    std::multiset<std::uint64_t> syncTickets_;
    int sleepers_ = 0;  // sync callers asleep on available_
    bool owned_ = false;
};

// A global queue: closures go straight to the pool; sync runs on the calling thread at once.
class ConcurrentCore final : public QueueCore {
  public:
    explicit ConcurrentCore(std::string label) : QueueCore(std::move(label), false) {}

    void async(std::function<void()> work) override {
        asio::post(threadPool(), [this, work = std::move(work)] { runSubmitted(work); });
    }

    void sync(const std::function<void()>& work) override { work(); }
};

void postToPool(std::function<void()> job) {
    asio::post(threadPool(), std::move(job));
}

void postToMainLoop(std::function<void()> job) {
    asio::post(mainContext(), std::move(job));
    wakeUpMainLoop();
}

const char* globalLabel(DispatchQoS qos) {
    switch (qos) {
        case DispatchQoS::background:
            return "global.background";
        case DispatchQoS::utility:
            return "global.utility";
        case DispatchQoS::userInitiated:
            return "global.user-initiated";
        case DispatchQoS::userInteractive:
            return "global.user-interactive";
        case DispatchQoS::default_:
        case DispatchQoS::unspecified:
            break;
    }
    return "global.default";
}

}  // namespace

}  // namespace dispatch_detail

using dispatch_detail::ConcurrentCore;
using dispatch_detail::SerialCore;

DispatchQueue::DispatchQueue(std::string label)
    : core_(std::make_shared<SerialCore>(std::move(label), &dispatch_detail::postToPool, false)) {}

DispatchQueue::DispatchQueue(std::shared_ptr<dispatch_detail::QueueCore> core)
    : core_(std::move(core)) {}

DispatchQueue DispatchQueue::main() {
    // Never destroyed: closures may be submitted to the main queue from static destructors.
    static auto* core = new std::shared_ptr<dispatch_detail::QueueCore>(
        std::make_shared<SerialCore>("main", &dispatch_detail::postToMainLoop, true));
    return DispatchQueue(*core);
}

DispatchQueue DispatchQueue::global(DispatchQoS qos) {
    // One concurrent queue per class, all on the same pool.
    static auto* cores = [] {
        auto* all = new std::vector<std::shared_ptr<dispatch_detail::QueueCore>>();
        for (DispatchQoS each :
             {DispatchQoS::background, DispatchQoS::utility, DispatchQoS::default_,
              DispatchQoS::userInitiated, DispatchQoS::userInteractive}) {
            all->push_back(std::make_shared<ConcurrentCore>(dispatch_detail::globalLabel(each)));
        }
        return all;
    }();
    switch (qos) {
        case DispatchQoS::background:
            return DispatchQueue((*cores)[0]);
        case DispatchQoS::utility:
            return DispatchQueue((*cores)[1]);
        case DispatchQoS::userInitiated:
            return DispatchQueue((*cores)[3]);
        case DispatchQoS::userInteractive:
            return DispatchQueue((*cores)[4]);
        case DispatchQoS::default_:
        case DispatchQoS::unspecified:
            break;
    }
    return DispatchQueue((*cores)[2]);
}

const std::string& DispatchQueue::label() const noexcept {
    return core_->label();
}

bool DispatchQueue::isSerial() const noexcept {
    return core_->isSerial();
}

void DispatchQueue::async(std::function<void()> work) {
    core_->async(std::move(work));
}

void DispatchQueue::async(DispatchGroup& group, std::function<void()> work) {
    group.enter();
    core_->async([group, work = std::move(work)]() mutable {
        // Leave even when the closure throws (which then stops the process anyway).
        struct Leave {
            DispatchGroup& group;
            ~Leave() { group.leave(); }
        } leave{group};
        work();
    });
}

void DispatchQueue::syncBlock(const std::function<void()>& block) const {
    core_->sync(block);
}

void DispatchQueue::asyncAfter(DispatchTime deadline, std::function<void()> work) {
    auto timer = std::make_shared<asio::steady_timer>(dispatch_detail::threadPool(), deadline);
    timer->async_wait(
        [timer, core = core_, work = std::move(work)](const asio::error_code& error) mutable {
            if (!error) {
                core->async(std::move(work));
            }
        });
}

void DispatchQueue::asyncAfter(std::chrono::nanoseconds delay, std::function<void()> work) {
    asyncAfter(std::chrono::steady_clock::now() + delay, std::move(work));
}

}  // namespace dovrel

#include "tasks/wait_line.h"

#include "platform/clock.h"
#include "platform/fence.h"
#include "platform/thread.h"

#include <chrono>
#include <mutex>
#include <new>
#include <utility>

namespace tasks {

namespace {

constexpr std::uint32_t kLines = 256;
constexpr unsigned kLongestPause = 16;

// For those whom nobody would wake.
constexpr std::chrono::milliseconds kNap{1};

constinit WaitLine lines[kLines];
constinit std::atomic<std::uint32_t> lineCount{0};

std::int64_t handoverInterval() {
    return platform::counterRate() / 1000;
}

// Looks less and less often: each look takes the cache line away from the owner. Does not yield:
// where other programs keep the processor busy, that may last longer than all the sleep.
bool obtainBySpinning(Ownership& lock, std::uintptr_t self) {
    for (unsigned pause = 1; pause <= kLongestPause; pause *= 2) {
        for (unsigned i = 0; i < pause; ++i) {
            core::relax();
        }
        if (lock.obtain(self)) {
            return true;
        }
    }
    return false;
}

} // namespace

// When its thread has the lock, a waiter is kept for another thread and not deleted, because
// somebody may still be about to wake it. The other thread then wakes for nothing and sleeps again.
struct WaitLine::Waiter {
    Ownership* lock = nullptr;
    std::uintptr_t thread = 0;
    Waiter* ahead = nullptr; // these wait for the same lock
    Waiter* behind = nullptr;
    Waiter* last = nullptr;  // of them; the first knows it
    Waiter* other = nullptr; // the first for another lock, behind a first; or another spare

    // Null if there is no memory, or no semaphore.
    static Waiter* make() {
        auto* const waiter = new (std::nothrow) Waiter;
        if (waiter != nullptr && !waiter->wake_.create(0)) {
            delete waiter;
            return nullptr;
        }
        return waiter;
    }

    static void destroy(Waiter* waiter) {
        waiter->wake_.destroy();
        delete waiter;
    }

    void wake() {
        if (!isSignalled_.exchange(true)) {
            wake_.signal();
        }
    }

    void sleep() {
        wake_.wait();
        isSignalled_.exchange(false);
    }

    void nap() {
        if (wake_.waitFor(kNap)) {
            isSignalled_.exchange(false);
        }
    }

private:
    std::atomic<bool> isSignalled_{false}; // or about to be: one signal at a time
    platform::Semaphore wake_;
};

WaitLine& WaitLine::next() {
    return lines[lineCount.fetch_add(1, std::memory_order_relaxed) % kLines];
}

void WaitLine::releaseAll() {
    for (WaitLine& line : lines) {
        while (Waiter* const spare = line.takeSpare()) {
            Waiter::destroy(spare);
        }
    }
}

void WaitLine::wait(Ownership& lock, std::uintptr_t self) {
    if (platform::otherThreadsAreGone()) {
        lock.thread.store(self, std::memory_order_relaxed); // its owner will not give it up
        return;
    }
    if (obtainBySpinning(lock, self)) {
        return;
    }
    // A thread that ended here would take its place in the line, and perhaps the lock, with it.
    const int cancellation = platform::forbidCancellation();
    sleepUntilObtained(lock, self);
    platform::resumeCancellation(cancellation);
}

void WaitLine::sleepUntilObtained(Ownership& lock, std::uintptr_t self) {
    Waiter* const waiter = join(lock, self);
    if (waiter == nullptr) {
        while (!lock.obtain(self)) {
            platform::sleepFor(kNap);
        }
        return;
    }
    // Who gives the lock up from now on sees that somebody waits; and if it was given up before,
    // this thread sees that.
    const bool isSeen = platform::fenceAllThreads();
    while (!obtainBySpinning(lock, self)) {
        if (isSeen) {
            waiter->sleep();
        } else {
            waiter->nap();
        }
    }
    leave(*waiter);
}

WaitLine::Waiter* WaitLine::join(Ownership& lock, std::uintptr_t self) {
    Waiter* waiter = takeSpare();
    if (waiter == nullptr) {
        waiter = Waiter::make();
    }
    if (waiter == nullptr) {
        return nullptr;
    }
    waiter->lock = &lock;
    waiter->thread = self;
    const std::lock_guard guard(busy_);
    append(*waiter);
    return waiter;
}

void WaitLine::leave(Waiter& waiter) {
    const std::lock_guard guard(busy_);
    remove(waiter);
    waiter.other = std::exchange(spares_, &waiter);
}

// The lock lives as long as somebody waits for it, and nobody leaves the line meanwhile. Waking is
// a call of the system, and is done without the line.
void WaitLine::callFirst(const Ownership* given) {
    if (platform::otherThreadsAreGone()) {
        return;
    }
    Waiter* first = nullptr;
    {
        const std::lock_guard guard(busy_);
        first = *firstFor(given);
        if (first == nullptr) {
            return;
        }
        Ownership& lock = *first->lock;
        const std::int64_t now = platform::counterValue();
        if (now >= lock.nextHandover && lock.take(first->thread)) {
            lock.nextHandover = now + handoverInterval();
        }
    }
    first->wake();
}

WaitLine::Waiter* WaitLine::takeSpare() {
    const std::lock_guard guard(busy_);
    Waiter* const spare = spares_;
    if (spare != nullptr) {
        spares_ = spare->other;
    }
    return spare;
}

// Where the line refers to it; there is a null if nobody waits for the lock.
WaitLine::Waiter** WaitLine::firstFor(const Ownership* lock) {
    Waiter** place = &firsts_;
    while (*place != nullptr && (*place)->lock != lock) {
        place = &(*place)->other;
    }
    return place;
}

void WaitLine::append(Waiter& waiter) {
    Waiter*& first = *firstFor(waiter.lock);
    waiter.behind = nullptr;
    if (first == nullptr) {
        waiter.ahead = waiter.other = nullptr;
        first = &waiter;
    } else {
        waiter.ahead = first->last;
        first->last->behind = &waiter;
    }
    first->last = &waiter;
    waiting_.fetch_add(1);
}

void WaitLine::remove(Waiter& waiter) {
    Waiter*& first = *firstFor(waiter.lock);
    (waiter.behind != nullptr ? waiter.behind->ahead : first->last) = waiter.ahead;
    if (waiter.ahead != nullptr) {
        waiter.ahead->behind = waiter.behind;
    } else if (waiter.behind != nullptr) {
        waiter.behind->last = waiter.last;
        waiter.behind->other = waiter.other;
        first = waiter.behind;
    } else {
        first = waiter.other;
    }
    waiting_.fetch_sub(1);
}

} // namespace tasks

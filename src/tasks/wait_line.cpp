#include "tasks/wait_line.h"

#include "platform/clock.h"
#include "platform/fence.h"
#include "platform/pause.h"
#include "platform/thread.h"

#include <chrono>
#include <mutex>
#include <new>
#include <utility>

namespace tasks {

namespace {

constexpr std::uint32_t kLines = 256;

// How long a thread sleeps that nobody would wake.
constexpr std::chrono::milliseconds kNap{1};

constinit WaitLine lines[kLines];
constinit std::atomic<std::uint32_t> lineCount{0};

std::int64_t handoverInterval() {
    return platform::counterRate() / 1000;
}

bool obtainBySpinning(Ownership& lock, std::uintptr_t self) {
    return platform::succeedsSoon([&] { return lock.obtain(self); });
}

} // namespace

// When its thread has the lock, a waiter is kept for another thread and not deleted, because a
// third one may be about to wake it. The other thread then wakes for nothing and sleeps again.
struct WaitLine::Waiter {
    Ownership* lock = nullptr;
    std::uintptr_t thread = 0;
    Waiter* ahead = nullptr;  // the waiter before this one for the same lock
    Waiter* behind = nullptr; // the waiter after this one for the same lock
    Waiter* last = nullptr;   // the last one for the lock; valid in the first one
    Waiter* other = nullptr;  // of a first: the first one for another lock; of a spare: the next

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
    std::atomic<bool> isSignalled_{false}; // set before the signal, so there is one at a time
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
        lock.thread.store(self, std::memory_order_relaxed); // its owner is gone
        return;
    }
    if (obtainBySpinning(lock, self)) {
        return;
    }
    // A thread cancelled here would leave its waiter in the line, and perhaps keep the lock.
    const platform::NoCancellation guard;
    sleepUntilObtained(lock, self);
}

void WaitLine::sleepUntilObtained(Ownership& lock, std::uintptr_t self) {
    Waiter* const waiter = join(lock, self);
    if (waiter == nullptr) {
        while (!lock.obtain(self)) {
            platform::sleepFor(kNap);
        }
        return;
    }
    // After the fence, a thread that releases the lock sees that a thread waits. If the lock was
    // released before, this thread sees that it is free.
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

// The lock lives as long as a thread waits for it, and no thread leaves the line under the guard.
// Waking calls the system, so it is done after the guard is released.
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

// The link that refers to the first waiter for the lock; the link is null if nobody waits for it.
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
    // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): the waiter is in the list
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

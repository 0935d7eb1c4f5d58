#include "Tasks/Sync.h"

#include "core/spin.h"
#include "platform/thread.h"

#include <chrono>
#include <new>

// The owner gives the section up with a plain store: half the cost of the common mutex, which must
// find out in the same step whether anybody sleeps. The price is a narrow gap in which a thread
// falls asleep unseen, so nobody sleeps for longer than kLongestNap.
struct Sync::Futex::Section {
    static constexpr unsigned kLongestPause = 64;
    static constexpr int kYields = 16;
    static constexpr std::chrono::microseconds kLongestNap{1000};

    std::atomic<std::uintptr_t> owner{0}; // a thread, 0: free
    std::uint32_t nested = 0;             // the owner's locks beyond its first
    std::atomic<std::uint32_t> sleepers{0};
    std::atomic<bool> isWaking{false}; // one signal at a time is enough
    platform::Semaphore wake;

    Section() { wake.create(0); }
    ~Section() { wake.destroy(); }

    bool take(std::uintptr_t self) {
        std::uintptr_t expected = 0;
        return owner.compare_exchange_strong(expected, self, std::memory_order_acquire,
                                             std::memory_order_relaxed);
    }

    bool takeIfFree(std::uintptr_t self) {
        return owner.load(std::memory_order_relaxed) == 0 && take(self);
    }

    // Looks less and less often: each look takes the cache line away from the owner.
    bool takeBySpinning(std::uintptr_t self) {
        for (unsigned pause = 1; pause <= kLongestPause; pause *= 2) {
            for (unsigned i = 0; i < pause; ++i) {
                core::relax();
            }
            if (takeIfFree(self)) {
                return true;
            }
        }
        for (int i = 0; i < kYields; ++i) {
            platform::yieldThread();
            if (takeIfFree(self)) {
                return true;
            }
        }
        return false;
    }

    bool takeOrNap(std::uintptr_t self) {
        sleepers.fetch_add(1);
        const bool taken = takeIfFree(self);
        if (!taken) {
            wake.waitFor(kLongestNap);
            isWaking.store(false);
        }
        sleepers.fetch_sub(1);
        return taken;
    }

    // Before the section is given up: afterwards its next owner may destroy it.
    void wakeSleeper() {
        if (sleepers.load(std::memory_order_relaxed) != 0 && !isWaking.exchange(true)) {
            wake.signal();
        }
    }
};

Sync::Futex::Futex() : section_(new (std::nothrow) Section) {}

Sync::Futex::~Futex() {
    delete section_;
}

void Sync::Futex::lock() {
    if (section_ == nullptr) {
        return;
    }
    const std::uintptr_t self = platform::currentThread();
    if (section_->take(self)) {
        return;
    }
    if (section_->owner.load(std::memory_order_relaxed) == self) {
        ++section_->nested;
        return;
    }
    while (!section_->takeBySpinning(self) && !section_->takeOrNap(self)) {
    }
}

void Sync::Futex::unlock() {
    if (section_ == nullptr) {
        return;
    }
    if (section_->nested != 0) {
        --section_->nested;
        return;
    }
    section_->wakeSleeper();
    section_->owner.store(0, std::memory_order_release);
}

bool Sync::Futex::try_lock(unsigned int) {
    lock();
    return true;
}

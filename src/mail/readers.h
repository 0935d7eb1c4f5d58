// Lets many threads read at once what one thread at a time changes.
#pragma once

#include "core/spin.h"
#include "core/spread.h"
#include "platform/thread.h"

#include <array>
#include <atomic>
#include <cstdint>

namespace Mail {

// Readers count themselves, each on a cache line that it seldom shares with another thread, so they
// do not slow each other down. A change looks at all counts. A reader does not wait for a change
// here: its Visit converts to false, and the reader takes the lock under which changes are made.
class Readers {
    struct alignas(64) Count {
        std::atomic<std::uint32_t> inside{0};
    };

public:
    // A reader is inside as long as its visit lives, unless a change had begun before: then the
    // visit converts to false.
    class Visit {
    public:
        explicit Visit(Readers& readers) : count_(readers.ownCount()) {
            count_.inside.fetch_add(1);
            isAllowed_ = !readers.isShut_.load();
        }
        ~Visit() { count_.inside.fetch_sub(1, std::memory_order_release); }
        Visit(const Visit&) = delete;
        Visit& operator=(const Visit&) = delete;

        explicit operator bool() const { return isAllowed_; }

    private:
        Count& count_;
        bool isAllowed_;
    };

    // Keeps readers out as long as it lives. The constructor waits until the last reader has left,
    // but not for readers whose threads the system has killed. There may be one change at a time.
    class Change {
    public:
        explicit Change(Readers& readers) : readers_(readers) {
            readers_.isShut_.store(true);
            for (const Count& count : readers_.counts_) {
                for (core::Spin spin; isRead(count);) {
                    spin.turn();
                }
            }
        }
        ~Change() { readers_.isShut_.store(false, std::memory_order_release); }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

    private:
        static bool isRead(const Count& count) {
            return count.inside.load() != 0 && !platform::otherThreadsAreGone();
        }

        Readers& readers_;
    };

private:
    static constexpr unsigned kCountBits = 6;

    // The upper bits of the product depend on all bits of the thread.
    Count& ownCount() {
        return counts_[(platform::currentThread() * core::kSpread) >> (64 - kCountBits)];
    }

    std::atomic<bool> isShut_{false};
    std::array<Count, std::size_t{1} << kCountBits> counts_;
};

} // namespace Mail

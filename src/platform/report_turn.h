// Lets one thread at a time write a crash report.
#pragma once

#include "platform/thread.h"
#include "platform/wait_until.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace platform {

// The right to write a report. The first thread that crashes gets it. Others wait for their turn,
// but not for ever: the first one may be stuck. Constant-initialised, never destroyed, and safe in
// a signal handler.
class ReportTurn {
public:
    // True while the calling thread has the turn. A fault that it meets then comes from the report
    // itself.
    bool isMine() const { return holder_.load(std::memory_order_relaxed) == currentThread(); }

    // False if the others did not finish in time.
    bool take() {
        return succeedsInTime([this] {
            std::uintptr_t nobody = 0;
            return holder_.compare_exchange_strong(nobody, currentThread());
        });
    }

    // Waits, for a limited time, until nobody but the caller has the turn.
    void waitUntilFree() {
        succeedsInTime([this] { return isMine() || holder_.load() == 0; });
    }

    void giveBack() {
        stuck_.store(0);
        holder_.store(0, std::memory_order_release);
    }

private:
    template<class Attempt>
    bool succeedsInTime(Attempt attempt) {
        constexpr std::chrono::milliseconds kLongestWait{30'000};
        constexpr std::chrono::milliseconds kStep{5};
        bool isDone = false;
        const bool isDecided = waitUntil(kLongestWait, kStep, [&] {
            isDone = attempt();
            return isDone || isStuck();
        });
        if (!isDecided) {
            stuck_.store(holder_.load());
        }
        return isDone;
    }

    bool isStuck() const {
        const std::uintptr_t stuck = stuck_.load();
        return stuck != 0 && stuck == holder_.load();
    }

    std::atomic<std::uintptr_t> holder_{0};
    std::atomic<std::uintptr_t> stuck_{0}; // the holder that somebody has waited for in vain
};

} // namespace platform

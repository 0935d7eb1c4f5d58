#include "Util/Publish.h"

#include "core/library_log.h"
#include "core/spin.h"
#include "platform/thread.h"
#include "util/publication.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>

namespace {

constexpr char kModule[] = "QZCORE";
constexpr std::size_t kLongestName = 48;

// The thread that publishes holds it, also while it reads watches. Other calls do not wait for it.
class Turn {
public:
    bool try_lock() {
        int nobody = kNobody;
        const bool isTaken = holder_.compare_exchange_strong(
            nobody, platform::processId(), std::memory_order_acquire, std::memory_order_relaxed);
        if (isTaken) {
            thread_.store(platform::currentThread(), std::memory_order_relaxed);
        }
        return isTaken;
    }
    void unlock() {
        thread_.store(kNoThread, std::memory_order_relaxed);
        holder_.store(kNobody, std::memory_order_release);
    }

    // True in a watch that the calling thread's qz_publish reads.
    bool isMine() const {
        return thread_.load(std::memory_order_relaxed) == platform::currentThread();
    }

    // True in a child that was forked while a thread held the turn. Nobody gives it back there, and
    // the data that it guards, the watches' mutex too, may be in the middle of a change.
    bool isHeldInParent() const {
        const int holder = holder_.load(std::memory_order_relaxed);
        return holder != kNobody && holder != platform::processId();
    }

private:
    static constexpr int kNobody = 0;
    static constexpr std::uintptr_t kNoThread = 0;

    std::atomic<int> holder_{kNobody}; // its process
    std::atomic<std::uintptr_t> thread_{kNoThread};
};

// How long the log's writer thread may take to hand over the last lines; the disk may hang.
constexpr std::chrono::milliseconds kLogMoment{100};

constinit Turn turn; // guards all below
constinit util::Publication* current = nullptr;
constinit bool isRefused = false;
constinit char refusedName[kLongestName + 2] = ""; // cut: longer ones are all refused
constinit bool isClosed = false;

bool isName(std::string_view name) {
    return !name.empty() && name.size() <= kLongestName && std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '.' || c == '-' || c == '_';
    });
}

void refuse(const char* name, const char* why) {
    isRefused = true;
    std::snprintf(refusedName, sizeof refusedName, "%s", name);
    qz_logf(kModule, QZ_LOG_ERROR, "\"%.64s\" is not published: %s", name, why);
}

bool wasRefused(const char* name) {
    return isRefused && std::strncmp(name, refusedName, sizeof refusedName - 1) == 0;
}

void letGo() {
    delete current;
    current = nullptr;
    isRefused = false;
}

void open(const char* name) {
    letGo();
    if (!isName(name)) {
        refuse(name, R"(a name has 1 to 48 letters, digits, ".", "-" and "_")");
        return;
    }
    try {
        current = util::Publication::open(name).release();
    } catch (const std::bad_alloc&) { // told below
    }
    if (current == nullptr) {
        refuse(name, "the system gives no shared memory, or another program lives under its name "
                     "and number");
    }
}

} // namespace

void util::closePublication() {
    const std::unique_lock lock(turn, std::try_to_lock);
    if (lock.owns_lock()) {
        letGo();
        isClosed = true;
    }
}

int qz_publish(const char* name) {
    const platform::NoCancellation guard; // a cancelled thread cannot end in a destructor
    const std::unique_lock lock(turn, std::try_to_lock);
    if (!lock.owns_lock()) {
        return turn.isHeldInParent() ? 0 : 1;
    }
    const char* const wanted = name == nullptr ? "" : name;
    if (isClosed || wasRefused(wanted)) {
        return 0;
    }
    if (current == nullptr || !current->isOf(wanted)) {
        open(wanted);
    }
    if (current == nullptr) {
        return 0;
    }
    current->publish();
    return 1;
}

void qz_publish_stop(void) {
    if (turn.isMine()) {
        return;
    }
    const platform::NoCancellation guard;
    core::letLogCatchUp(kLogMoment);
    std::unique_lock lock(turn, std::defer_lock);
    for (core::Spin spin; !lock.try_lock(); spin.turn()) {
        if (turn.isHeldInParent()) {
            return;
        }
    }
    letGo();
}

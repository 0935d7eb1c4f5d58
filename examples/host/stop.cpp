#include "stop.h"

#include <atomic>
#include <csignal>

namespace {

constexpr int kNobodyWishes = -1;

// Windows delivers Ctrl-C on a separate thread, Linux between any two instructions; a lock-free
// atomic is right for both.
std::atomic<int> wish{kNobodyWishes};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void onInterrupt(int signal) {
    std::signal(signal, SIG_DFL);
    wish.store(kExitInterrupted);
}

} // namespace

void catchInterrupts() {
    std::signal(SIGINT, onInterrupt);
}

void requestStop(int exitCode) {
    wish.store(exitCode);
}

bool stopRequested() {
    return wish.load() != kNobodyWishes;
}

int stopCode() {
    return wish.load();
}

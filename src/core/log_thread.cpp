#include "core/log_thread.h"

#include "Core/Threads.h"
#include "core/thread_unload.h"
#include "platform/wait_until.h"

#include <algorithm>
#include <cerrno>

namespace core {

namespace {

constexpr std::chrono::milliseconds kLookInterval{1}; // while waiting for the thread

// A thread that has not begun by the time of an unload may be waiting for the loader's lock.
constexpr std::chrono::milliseconds kLongestForUnbegun{2000};

} // namespace

void LogThread::open(LogWriter& writer) {
    writer_ = &writer;
    begun_.create(0);
    ended_.create(0);
}

void LogThread::close() {
    const bool isSomebodyEndingIt = state() == State::ending;
    if (!isSomebodyEndingIt) {
        begun_.destroy();
        ended_.destroy();
    }
}

void* LogThread::run(void* self) {
    auto& thread = *static_cast<LogThread*>(self);
    platform::nameThread("qz log");
    thread.id_.store(platform::currentThread(), std::memory_order_relaxed);
    thread.begun_.signal();
    platform::blockSignals(); // the host's handlers must not interrupt this thread
    thread.writer_->run();
    thread.ended_.signal();
    return nullptr;
}

int LogThread::start() {
    process_ = platform::processId();
    state_.store(State::running, std::memory_order_release);
    thread_ = QZ_thread_create(run, this, 1);
    if (thread_ != nullptr) {
        // If the system begins and ends threads with the loader's lock held, a thread that had not
        // begun could not end during an unload. The limit is for hosts that start the log with that
        // lock held.
        begun_.waitFor(std::chrono::seconds(1));
        return 0;
    }
    const int error = errno != 0 ? errno : EAGAIN;
    drain();
    return error;
}

bool LogThread::takeOverEnding() {
    State expected = State::running;
    return state_.compare_exchange_strong(expected, State::ending);
}

void LogThread::askToEnd() {
    writer_->hook().close();
    writer_->endThread();
}

void LogThread::drain() {
    thread_ = nullptr;
    writer_->drain();
    state_.store(State::ended, std::memory_order_release);
}

void LogThread::stop() {
    if (!isElsewhere() && takeOverEnding()) {
        askToEnd();
        ended_.wait();
        QZ_thread_wait(thread_);
        drain();
    }
}

bool LogThread::stopAtUnload(std::chrono::milliseconds limit) {
    if (!takeOverEnding()) {
        return waitForOthersEnding(limit);
    }
    askToEnd();
    const bool hasBegun = id_.load(std::memory_order_relaxed) != 0;
    if (!ended_.waitFor(hasBegun ? limit : std::min(limit, kLongestForUnbegun))) {
        return false;
    }
    waitAtUnload(thread_);
    drain();
    return true;
}

bool LogThread::waitForOthersEnding(std::chrono::milliseconds limit) const {
    return platform::waitUntil(limit, kLookInterval, [this] { return state() != State::ending; });
}

bool LogThread::isElsewhere() const {
    const State now = state();
    return (now == State::running || now == State::ending) && process_ != platform::processId();
}

void LogThread::catchUp(std::chrono::milliseconds longest) const {
    if (id_.load(std::memory_order_relaxed) != platform::currentThread() && !isElsewhere()) {
        platform::waitUntil(longest, kLookInterval,
                            [this] { return !isRunning() || writer_->isIdle(); });
    }
}

} // namespace core

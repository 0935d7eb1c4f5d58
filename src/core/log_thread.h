// The thread that writes the log.
#pragma once

#include "core/log_writer.h"
#include "platform/thread.h"

#include <atomic>
#include <chrono>

struct QZ_thread;

namespace core {

// Runs the writer on a thread of its own, once for each load of the library. When the thread has
// ended, the writer is drained.
//
// Needs no constructor or destructor: threads may still be in a call when the process ends.
class LogThread {
public:
    // Come before and after everything else. What is used by a thread that has not ended is kept.
    void open(LogWriter& writer);
    void close();

    // Returns 0, or the system's error number; then the thread counts as ended.
    int start();

    // Waits without limit. Does nothing unless the thread runs in this process, and nobody is
    // ending it.
    void stop();

    // The same for the unloading of the library, which holds the loader's lock. Waits also for
    // somebody who is ending the thread. False if that takes longer than the limit; the thread then
    // keeps what it uses.
    bool stopAtUnload(std::chrono::milliseconds limit);

    bool wasStarted() const { return state() != State::none; }
    bool isRunning() const { return state() == State::running; }
    bool isOver() const { return state() == State::ending || state() == State::ended; }

    // True in a child that was forked while the thread ran. The parent writes what is queued, and
    // locks that the thread held stay locked in the child.
    bool isElsewhere() const;

    // Waits until the writer is idle, but not for longer than `longest`, and not on the thread
    // itself. Takes no lock and allocates nothing.
    void catchUp(std::chrono::milliseconds longest) const;

private:
    // Whoever changes `running` to `ending` ends the thread and drains the writer.
    enum class State { none, running, ending, ended };

    State state() const { return state_.load(std::memory_order_acquire); }
    static void* run(void* self);
    bool takeOverEnding();
    void askToEnd();
    void drain();
    bool waitForOthersEnding(std::chrono::milliseconds limit) const;

    LogWriter* writer_ = nullptr;
    std::atomic<State> state_{State::none};
    int process_ = 0; // a forked child has the state, but not the thread
    QZ_thread* thread_ = nullptr;
    std::atomic<std::uintptr_t> id_{0};
    platform::Semaphore begun_{};
    platform::Semaphore ended_{};
};

} // namespace core

// What a profiler records, its trace, and the life of the global profiler.
#pragma once

#include "Common/Allocator.h"
#include "Common/Profiler.h"
#include "common/ended_threads.h"
#include "common/frame_times.h"
#include "common/profiled_thread.h"
#include "platform/thread_slot.h"

#include <atomic>
#include <cstdint>
#include <mutex>
#include <shared_mutex>

namespace common {

// Writes an empty trace if the recording is null.
bool writeTrace(const Common::Profiler::Recording* recording, const char* path);

// Makes the global profiler, when the library is loaded.
void openGlobalProfiler();

// Frees the global profiler's memory, when the library is unloaded.
void closeGlobalProfiler();

} // namespace common

struct Common::Profiler::Recording {
    static constexpr std::int64_t kMaxSections = 1 << 20;

    Recording() = default;
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // Before any other call. False if the system has no slot left for the threads' own records; the
    // recording is of no use then.
    bool open();

    // The calling thread's record. Throws std::bad_alloc.
    common::ProfiledThread& thread();

    // All threads' units, by name. Some may have no count.
    common::ProfiledUnits merged() const;

    void reset();

    // Calls back with what ended threads have left, and then with each other thread. Threads go on
    // recording meanwhile.
    template<class VisitEnded, class VisitThread>
    void read(VisitEnded visitEnded, VisitThread visitThread) const {
        const std::shared_lock reading(contents_);
        const auto threads = known();
        visitEnded(ended_);
        for (const common::ProfiledThread* const thread : threads) {
            visitThread(*thread);
        }
    }

    // Takes over the records of ended threads, unless others are reading.
    void takeOverEnded() noexcept;

    std::atomic<unsigned> session{0};
    std::atomic<std::int64_t> room{kMaxSections}; // negative: so many sections had none
    common::FrameTimes frames;

private:
    using Threads = qz::list<common::ProfiledThread>;

    common::ProfiledThread& addThread();
    qz::vector<const common::ProfiledThread*> known() const;
    template<class Condition>
    Threads without(Condition condition);

    platform::ThreadSlot own_; // each thread's record
    std::atomic<unsigned> lastNumber_{0};
    mutable std::shared_mutex contents_; // shared by readers; alone: to take a record away
    mutable std::mutex listMutex_;       // never held for long, as new threads wait for it
    Threads threads_;                    // ended ones that were not taken over, too
    common::EndedThreads ended_;
};

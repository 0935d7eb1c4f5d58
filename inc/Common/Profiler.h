/* Where the time of a frame goes. C++ only, for programs built by the library's compiler.
 *
 *     void update() {
 *         Common::ProfiledFunc profiled("update");
 *         ...
 *     }
 *
 *     globalProfiler.start();
 *     while (running) {
 *         globalProfiler.startFrame();
 *         update();
 *         globalProfiler.endFrame();
 *     }
 *     globalProfiler.writeTrace("trace.json"); // for chrome://tracing and ui.perfetto.dev
 *
 * Sections have names and nest; each thread has its own nesting. For each name the profiler keeps
 * how often its sections ran and for how long. For the trace it also keeps when the first 2^20
 * sections and frames ran. While the profiler is off, a section costs one branch.
 *
 * Threads: any, at any time. A section is left by the thread that entered it. When a thread ends,
 * the profiler keeps what it recorded, and nothing else of it.
 */
#ifndef QZCORE_COMMON_PROFILER_H
#define QZCORE_COMMON_PROFILER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Common {

/* A frame is a section of this name. */
inline constexpr char kFrameSection[] = "frame";

class Profiler {
public:
    /* Over all sections of one name, or all frames, that have ended; times in seconds. The time of
     * a section includes that of the sections in it. */
    struct Statistics {
        std::uint64_t count;
        double total;
        double minimum;
        double maximum;
        double average;
    };

    /* name: valid during the call. */
    using Visitor = void (*)(void* context, const char* name, const Statistics& statistics);

    constexpr Profiler() = default;
    Profiler(const Profiler&) = delete;
    Profiler& operator=(const Profiler&) = delete;

    /* Frees all memory. No thread may be in a call, and none that has entered a section may be
     * ending: join such threads first, or let them live longer. */
    QZ_API ~Profiler();

    /* Turn the profiler on and off. What was recorded stays until reset. A section that is open
     * when the profiler is turned on or off does not count. start does nothing when memory runs
     * out, or the system's slots for thread-local values, of which Linux has 1024 for a process: a
     * profiler that was started keeps one until it is destroyed. */
    QZ_API void start();
    void stop() { running_.store(false, std::memory_order_relaxed); }
    bool isRunning() const { return running_.load(std::memory_order_relaxed); }

    /* Forgets what was recorded. */
    QZ_API void reset();

    /* Begin and end a frame, which is a section named "frame". */
    void startFrame() { enter(kFrameSection); }
    void endFrame() { leave(); }

    /* Enter and leave a section. The name is copied, and cut at 63 bytes; null is "<NULL>". A
     * section is not recorded if it is more than 64 deep on its thread, or if there is no memory.
     * Leaving without having entered does nothing. */
    void enter(const char* name) noexcept {
        if (isRunning()) {
            enterSection(name);
        }
    }
    void leave() noexcept {
        if (isRunning()) {
            leaveSection();
        }
    }

    /* Calls the visitor for each name, in alphabetical order. The visitor must not use this
     * profiler. Throws std::bad_alloc before the first call, and what the visitor throws. */
    QZ_API void visit(Visitor visitor, void* context) const;

    /* Reads how long single frames took. Copies the times of the frames from number `next` on, in
     * seconds, at most `room` of them. Moves `next` behind the last one and returns how many were
     * copied. Frames are numbered from 0 in the order in which they end; after a reset numbers
     * begin at 0 again. The last 512 frames are kept: if frame `next` is gone, or not yet there
     * after a reset, reading begins at the oldest that is kept. Copies none if another thread keeps
     * the frames for more than a moment, as may be for ever in a forked child.
     *
     *     std::uint64_t next = 0;
     *     double seconds[512];
     *     const std::size_t count = globalProfiler.readFrames(next, seconds, 512); */
    QZ_API std::size_t readFrames(std::uint64_t& next, double* seconds, std::size_t room) const;

    /* The number of sections and frames that are not in the trace because there were too many. */
    QZ_API std::uint64_t dropped() const;

    /* Writes the trace as JSON (the "trace event" format); the path may have either separator.
     * Threads have the names that they had when they entered their first section after start
     * (QZ_thread_set_name). Returns false if writing fails or memory runs out; the file then holds
     * what could be written. */
    QZ_API bool writeTrace(const char* path) const;

    struct Recording; /* the library's own */

private:
    QZ_API void enterSection(const char* name) noexcept;
    QZ_API void leaveSection() noexcept;

    std::atomic<bool> running_{false};
    std::atomic<Recording*> recording_{nullptr};
};

/* A section from its construction to its destruction. */
class ProfiledFunc {
public:
    /* name: as for Profiler::enter. */
    inline explicit ProfiledFunc(const char* name);

    ProfiledFunc(const char* name, Profiler& profiler)
        : profiler_(profiler.isRunning() ? &profiler : nullptr) {
        if (profiler_ != nullptr) {
            profiler_->enter(name);
        }
    }

    ~ProfiledFunc() {
        if (profiler_ != nullptr) {
            profiler_->leave();
        }
    }

    ProfiledFunc(const ProfiledFunc&) = delete;
    ProfiledFunc& operator=(const ProfiledFunc&) = delete;

private:
    Profiler* profiler_;
};

} // namespace Common

/* The process's profiler; off until the host starts it. */
extern QZ_API Common::Profiler& globalProfiler QZ_SYMBOL("qz_globalProfiler");

inline Common::ProfiledFunc::ProfiledFunc(const char* name) : ProfiledFunc(name, globalProfiler) {}

#endif

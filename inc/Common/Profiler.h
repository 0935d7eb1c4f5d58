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
 * Sections have names and nest, on each thread by itself. Of each name the profiler keeps how often
 * it ran and for how long; of the first 2^20 sections and frames also when, for the trace. While it
 * is off a section costs one branch.
 *
 * Threads: any, at any time. A section is left by the thread that entered it. Of threads that have
 * ended the profiler keeps what they recorded, and nothing else.
 */
#ifndef QZCORE_COMMON_PROFILER_H
#define QZCORE_COMMON_PROFILER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Common {

/* The name of the section that a frame is. */
inline constexpr char kFrameSection[] = "frame";

class Profiler {
public:
    /* Over all sections of one name, or all frames, whose end was seen; in seconds. What a section
     * contains counts as its own. */
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

    /* Gives all memory back; no thread may be in a call. */
    QZ_API ~Profiler();

    /* Turn it on and off. What was recorded stays until reset. start does nothing when memory runs
     * out. A section that is open when it is turned on or off does not count. */
    QZ_API void start();
    void stop() { running_.store(false, std::memory_order_relaxed); }
    bool isRunning() const { return running_.load(std::memory_order_relaxed); }

    /* Forgets what was recorded. */
    QZ_API void reset();

    /* Begin and end a frame, which is a section named "frame". */
    void startFrame() { enter(kFrameSection); }
    void endFrame() { leave(); }

    /* Enter and leave a section. The name is copied, and cut at 63 bytes; null is "<NULL>".
     * Sections more than 64 deep on one thread are not recorded; those of a thread that finds no
     * memory are not either. Leaving without having entered does nothing. */
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

    /* Calls back for each name, in alphabetical order. The visitor must not use this profiler.
     * Throws std::bad_alloc before the first call, and what the visitor throws. */
    QZ_API void visit(Visitor visitor, void* context) const;

    /* Reads how long frames took, one after another: copies the times of the frames from number
     * `next` on, in seconds, at most `room` of them, moves `next` behind the last one and returns
     * how many there were. Numbers count from 0 since the last reset, in the order in which the
     * frames ended. The last 512 frames are kept; `next` skips those that are gone, and goes back
     * after a reset.
     *
     *     std::uint64_t next = 0;
     *     double seconds[512];
     *     const std::size_t count = globalProfiler.readFrames(next, seconds, 512); */
    QZ_API std::size_t readFrames(std::uint64_t& next, double* seconds, std::size_t room) const;

    /* Sections and frames that are not in the trace because there were too many. */
    QZ_API std::uint64_t dropped() const;

    /* Writes the trace as JSON (the "trace event" format). Threads go by the names that they had
     * when they entered their first section after start (QZ_thread_set_name). Returns false, with
     * what could be written in the file, if that fails or memory runs out. */
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
extern QZ_API Common::Profiler& globalProfiler;

inline Common::ProfiledFunc::ProfiledFunc(const char* name) : ProfiledFunc(name, globalProfiler) {}

#endif

/* Pacing of a loop's frames. C++ only, for programs built by the library's compiler.
 *
 *     globalFpsController->SetMaxFPS(60);
 *     globalFpsController->Reset();
 *     while (running) {
 *         globalFpsController->StartFrame();
 *         update();
 *         if (globalFpsController->IsFrameInTime()) {
 *             tidyUp();
 *         }
 *     }
 *     globalFpsController->PrintStats();
 *
 * Times are those of QZ_get_time. Everything begins at zero, so the first frame counts as skipped,
 * and lasts as long as the clock has run. Call Reset in front of the loop to leave that out.
 *
 * Threads: a controller belongs to the thread that runs the loop. The one of the process,
 * globalFpsController, stands in Globals.h.
 */
#ifndef QZCORE_UTIL_FPS_CONTROLLER_H
#define QZCORE_UTIL_FPS_CONTROLLER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>

class QZ_API FPS_Controller {
public:
    /* As SetMaxFPS and SetThreshold do. */
    constexpr explicit FPS_Controller(float maxFps = 0, float threshold = 2.0F)
        : threshold_(threshold), minimumDuration_(durationOf(maxFps)) {}

    /* Forgets all frames; the first one begins now. The most frames per second and the threshold
     * stay. */
    void Reset();

    /* The most frames per second; 0 for as many as there are. */
    void SetMaxFPS(float maxFps);

    /* A frame is late when it takes more than this many times as long as the one before. */
    void SetThreshold(float threshold);

    /* Ends a frame and begins the next. If the one that ends was shorter than the most frames per
     * second allow, it first sleeps for what is missing, in whole milliseconds (rounded down); the
     * sleep is part of that frame. A frame that was late by now counts as skipped.
     *
     * Windows wakes sleepers with its timer, every 15.6 ms unless the process has asked for better
     * (timeBeginPeriod). */
    void StartFrame();

    /* Whether the running frame is not late yet. */
    bool IsFrameInTime() const;

    /* Logs the frames per second and the skipped frames at INFO (module "QZCORE"); nothing before
     * the first frame. */
    void PrintStats() const;

    /* Since the controller was made: the duration of the last frame and of all frames in seconds,
     * how many frames there were, and how many were skipped. */
    double lastDuration() const { return lastDuration_; }
    double totalTime() const { return totalTime_; }
    std::int32_t frameCount() const { return frameCount_; }
    std::int32_t skippedCount() const { return skippedCount_; }

private:
    static constexpr double durationOf(float maxFps) {
        return maxFps == 0 ? 0 : 1 / static_cast<double>(maxFps);
    }

    QZ_LOCAL void measure();

    float threshold_;
    double minimumDuration_;
    double previousStart_ = 0;
    double currentStart_ = 0;
    double lastDuration_ = 0;
    std::int32_t frameCount_ = 0;
    std::int32_t skippedCount_ = 0;
    double totalTime_ = 0;
};

#endif

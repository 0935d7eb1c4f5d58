/* Paces the frames of a loop. C++ only, for programs built by the library's compiler.
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
 * Times are those of QZ_get_time. The first frame counts as skipped, because there is none before
 * it. The first frame of a new controller begins at time zero, and so lasts as long as the clock
 * has run; call Reset before the loop to avoid that.
 *
 * Threads: a controller is for the thread that runs the loop. The process's controller,
 * globalFpsController, is in Globals.h.
 */
#ifndef QZCORE_UTIL_FPS_CONTROLLER_H
#define QZCORE_UTIL_FPS_CONTROLLER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstdint>

class QZ_API FPS_Controller {
public:
    /* maxFps, threshold: as for SetMaxFPS and SetThreshold. */
    constexpr explicit FPS_Controller(float maxFps = 0, float threshold = 2.0F)
        : threshold_(threshold), minimumDuration_(durationOf(maxFps)) {}

    /* Forgets all frames; the first one begins now. The limit and the threshold do not change. */
    void Reset();

    /* Limits the frames per second; 0 means no limit. */
    void SetMaxFPS(float maxFps);

    /* A frame is late if it takes more than `threshold` times as long as the frame before it. The
     * limit does not matter: frames that all take too long are not late. */
    void SetThreshold(float threshold);

    /* Ends a frame and begins the next. If the frame that ends was shorter than the limit allows,
     * StartFrame first sleeps for the rest, in whole milliseconds (rounded down); the sleep is part
     * of that frame, and later frames do not make up for what it is too short or too long. If the
     * frame was late before the sleep, it counts as skipped.
     *
     * On Windows sleeps end at ticks of the system's timer, every 15.6 ms unless the process has
     * asked for shorter ticks (timeBeginPeriod). */
    void StartFrame();

    /* Returns whether the current frame is not late yet. */
    bool IsFrameInTime() const;

    /* Logs the frames per second and the skipped frames ("Skiped Frames", which is spelt so) at
     * INFO (module "QZCORE"); nothing before the first frame. */
    void PrintStats() const;

    /* The duration of the last frame in seconds, and since the controller was made or reset: the
     * duration of all frames in seconds, the number of frames, and the number of skipped frames.
     * After 2^31 - 1 frames these three begin again at 0. */
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

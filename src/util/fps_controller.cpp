#include "Util/FPS_Controller.h"

#include "Core/Clock.h"
#include "core/decimal.h"
#include "core/library_log.h"
#include "platform/thread.h"

#include <algorithm>
#include <chrono>

namespace {

constexpr char kModule[] = "QZCORE";

// Whole milliseconds, and at most what every system's sleep takes.
std::chrono::milliseconds sleepingTime(double seconds) {
    constexpr double kLongest = 0xFFFFFFFE;
    return std::chrono::milliseconds(static_cast<std::int64_t>(std::min(seconds * 1000, kLongest)));
}

} // namespace

void FPS_Controller::Reset() {
    previousStart_ = currentStart_ = QZ_get_time();
    lastDuration_ = totalTime_ = 0;
    frameCount_ = skippedCount_ = 0;
}

void FPS_Controller::SetMaxFPS(float maxFps) {
    minimumDuration_ = durationOf(maxFps);
}

void FPS_Controller::SetThreshold(float threshold) {
    threshold_ = threshold;
}

void FPS_Controller::StartFrame() {
    if (frameCount_ == INT32_MAX) { // the host may run for years
        frameCount_ = skippedCount_ = 0;
        totalTime_ = 0;
    }
    skippedCount_ += IsFrameInTime() ? 0 : 1;
    previousStart_ = currentStart_;
    measure();
    if (minimumDuration_ > lastDuration_) {
        platform::sleepFor(sleepingTime(minimumDuration_ - lastDuration_));
        measure();
    }
    ++frameCount_;
    totalTime_ += lastDuration_;
}

bool FPS_Controller::IsFrameInTime() const {
    return static_cast<double>(threshold_) * lastDuration_ + currentStart_ > QZ_get_time();
}

void FPS_Controller::PrintStats() const {
    if (frameCount_ == 0) {
        return;
    }
    constexpr int kDecimals = 6;
    const auto average = static_cast<float>(frameCount_ / totalTime_);
    qz_logf(kModule, QZ_LOG_INFO, "Average FPS: %s",
            core::Fixed(static_cast<double>(average), kDecimals).text());
    const float percentage =
        static_cast<float>(skippedCount_) * 100 / static_cast<float>(frameCount_);
    qz_logf(kModule, QZ_LOG_INFO, "Skiped Frames: %d/%d (%s%%)", skippedCount_, frameCount_,
            core::Fixed(static_cast<double>(percentage), kDecimals).text());
}

// The frame that begins now ends the one before.
void FPS_Controller::measure() {
    currentStart_ = QZ_get_time();
    lastDuration_ = currentStart_ - previousStart_;
}

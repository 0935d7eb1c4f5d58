#include "Util/FPS_Controller.h"

#include "Core/Clock.h"
#include "Globals.h"
#include "support/log_capture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <regex>
#include <thread>

namespace {

void sleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// Machines are late as they please, so times are only compared to what they may not fall below. The
// sleep is rounded down to a millisecond.
TEST(FpsController, SleepsForWhatIsMissing) {
    FPS_Controller controller(50);
    controller.StartFrame();
    for (int i = 0; i < 3; ++i) {
        sleep(i);
        controller.StartFrame();
        EXPECT_GE(controller.lastDuration(), 0.0185);
    }
    controller.SetMaxFPS(1);
    const double before = QZ_get_time();
    sleep(5);
    controller.SetMaxFPS(0);
    controller.StartFrame();
    EXPECT_LT(QZ_get_time() - before, 0.9);
    EXPECT_EQ(controller.frameCount(), 5);
}

TEST(FpsController, TheFirstFrameIsAllOfTheTimeBefore) {
    sleep(10);
    FPS_Controller controller;
    EXPECT_FALSE(controller.IsFrameInTime());
    controller.StartFrame();
    EXPECT_EQ(controller.skippedCount(), 1);
    EXPECT_GE(controller.lastDuration(), 0.01);
    EXPECT_TRUE(controller.IsFrameInTime());
    controller.StartFrame();
    EXPECT_EQ(controller.skippedCount(), 1);
    EXPECT_LE(controller.totalTime(), QZ_get_time());
}

TEST(FpsController, CountsLateFrames) {
    FPS_Controller controller(0, 1e9F);
    controller.StartFrame();
    sleep(5);
    controller.StartFrame();
    EXPECT_TRUE(controller.IsFrameInTime()); // the threshold is high
    controller.SetThreshold(2);
    sleep(static_cast<int>(controller.lastDuration() * 2500));
    EXPECT_FALSE(controller.IsFrameInTime());
    controller.StartFrame();
    EXPECT_EQ(controller.skippedCount(), 2);
}

TEST(FpsController, NeverSleepsForSenselessRates) {
    for (const float rate : {0.0F, -1.0F, std::nanf(""), std::numeric_limits<float>::infinity()}) {
        FPS_Controller controller(rate);
        const double before = QZ_get_time();
        controller.StartFrame();
        controller.StartFrame();
        EXPECT_LT(QZ_get_time() - before, 5);
    }
}

TEST(FpsController, LogsItsStatistics) {
    qz::test::LogCapture log;
    ASSERT_NE(globalFpsController, nullptr);
    globalFpsController->PrintStats();
    EXPECT_TRUE(log.take().empty());
    sleep(1);
    globalFpsController->StartFrame();
    globalFpsController->StartFrame();
    globalFpsController->PrintStats();
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[0].module, "QZCORE");
    EXPECT_EQ(lines[0].level, 0x40U);
    EXPECT_TRUE(std::regex_match(lines[0].message, std::regex(R"(Average FPS: \d+\.\d{6})")));
    EXPECT_TRUE(std::regex_match(lines[1].message,
                                 std::regex(R"(Skiped Frames: [12]/2 \((50|100)\.000000%\))")));
}

} // namespace

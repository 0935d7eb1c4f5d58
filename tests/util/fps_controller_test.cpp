#include "Util/FPS_Controller.h"

#include "Globals.h"
#include "support/test.h"

#include <regex>

namespace {

void sleep(int milliseconds) {
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// A machine may be late by any time, so times are only compared with their lower limits. The sleep
// is rounded down to a millisecond. Signals are the fault driver's.
TEST(FpsController, SleepsForWhatIsMissing) {
    FPS_Controller controller(50);
    controller.StartFrame();
    for (int i = 0; i < 3; ++i) {
        sleep(i);
        controller.StartFrame();
        EXPECT_GE(controller.lastDuration(), 0.0185);
    }
    EXPECT_EQ(controller.frameCount(), 4);
    for (const float senseless : {0.0F, -1.0F, std::nanf("")}) {
        controller.SetMaxFPS(senseless); // must not make the next frame sleep for long
        controller.StartFrame();
    }
}

TEST(FpsController, CountsLateFrames) {
    sleep(10);
    FPS_Controller controller;
    EXPECT_FALSE(controller.IsFrameInTime()); // the first frame is all of the time before
    controller.StartFrame();
    EXPECT_EQ(controller.skippedCount(), 1);
    EXPECT_GE(controller.lastDuration(), 0.01);
    EXPECT_TRUE(controller.IsFrameInTime());
    controller.StartFrame();
    EXPECT_EQ(controller.skippedCount(), 1);
    controller.SetThreshold(2);
    sleep(5 + static_cast<int>(controller.lastDuration() * 2500));
    EXPECT_FALSE(controller.IsFrameInTime());
    controller.StartFrame();
    EXPECT_EQ(controller.skippedCount(), 2);
    const double before = controller.totalTime();
    controller.Reset();
    EXPECT_EQ(controller.skippedCount() + controller.frameCount(), 0);
    controller.StartFrame();
    EXPECT_LT(controller.totalTime(), before);
    FPS_Controller patient(0, 1e9F);
    patient.StartFrame();
    sleep(5);
    patient.StartFrame();
    EXPECT_TRUE(patient.IsFrameInTime()); // the threshold is high
}

TEST(FpsController, LogsItsStatistics) {
    LogCapture log;
    ASSERT_NE(globalFpsController, nullptr);
    globalFpsController->PrintStats();
    EXPECT_TRUE(log.take().empty());
    sleep(1);
    globalFpsController->StartFrame();
    globalFpsController->StartFrame();
    globalFpsController->PrintStats();
    const auto lines = log.take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].module == "QZCORE" && lines[0].level == 0x40U);
    EXPECT_TRUE(std::regex_match(lines[0].message, std::regex(R"(Average FPS: \d+\.\d{6})")));
    EXPECT_TRUE(std::regex_match(lines[1].message,
                                 std::regex(R"(Skiped Frames: [12]/2 \((50|100)\.000000%\))")));
}

} // namespace

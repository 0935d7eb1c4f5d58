// Frame pacing under the signals of somebody's timer. Linux only.
#include "Util/FPS_Controller.h"

#include <gtest/gtest.h>

#include <sys/time.h>

#include <csignal>

namespace {

TEST(FpsController, SignalsDoNotCutItsSleepShort) {
    std::signal(SIGALRM, [](int) {});
    const itimerval everyMillisecond{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &everyMillisecond, nullptr);
    FPS_Controller controller(50);
    controller.StartFrame();
    for (int i = 0; i < 3; ++i) {
        controller.StartFrame();
        EXPECT_GE(controller.lastDuration(), 0.0185);
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

} // namespace

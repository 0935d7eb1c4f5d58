// Behaviour of traces that only Linux has.
#include "Common/Profiler.h"
#include "support/test.h"

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

static pid_t child = 0;

// The limit on the size of files makes the trace's first write raise a signal, and that forks.
TEST(ProfilerTrace, MayBeWrittenAgainBesideAChildForkedMeanwhile) {
    const std::string path = (freshDirectory() / "trace.json").string();
    Common::Profiler profiler;
    std::signal(SIGXFSZ, [](int) {
        child = fork();
        while (child == 0) {
            pause();
        }
    });
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    EXPECT_FALSE(profiler.writeTrace(path.c_str()));
    setrlimit(RLIMIT_FSIZE, &limit);
    ASSERT_GT(child, 0);
    EXPECT_TRUE(profiler.writeTrace(path.c_str()));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

// Behaviour of rings that only Linux has.
#include "Shm/RingBuffer.h"
#include "Util/Publish.h"
#include "support/test.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

TEST(RingMessageBuffer, ForkedChildCloses) {
    const std::string name = "qz fork " + std::to_string(getpid());
    CRingMessageBuffer* const ring = CRingMessageBuffer::OpenNew(name.c_str(), 0, nullptr);
    ASSERT_NE(ring, nullptr);
    ASSERT_EQ(ring->AddMessage("text", 4), 1);
    const pid_t child = fork();
    if (child == 0) {
        ring->Close(1);
        _exit(0);
    }
    ASSERT_EQ(waitpid(child, nullptr, 0), child);

    CRingMessageBuffer* const other = CRingMessageBuffer::OpenNew(name.c_str(), 0, nullptr);
    ASSERT_NE(other, nullptr);
    unsigned long word = 0;
    int64_t time = 0;
    char text[8] = "";
    EXPECT_EQ(other->GetMessageA(word, word, word, time, text, sizeof text), 1);
    EXPECT_STREQ(text, "text");
    other->Close(1);
    ring->Close(1);
    EXPECT_NE(access(("/dev/shm/qzCore.memory." + name).c_str(), F_OK), 0);
}

// Each opening but the first looks only at the next few of the objects that are there.
TEST(RingMessageBuffer, ComesToADeadObjectBehindLivingOnes) {
    const std::string name = "qz sweep " + std::to_string(getpid());
    std::array<CRingMessageBuffer, 20> living;
    for (std::size_t i = 0; i < living.size(); ++i) {
        ASSERT_EQ(living[i].Open((name + std::to_string(i)).c_str(), 0, nullptr), 1);
    }
    const fs::path dead = "/dev/shm/qzCore.memory." + name + "x";
    writeFile(dead, "");
    for (int i = 0; i < 20 && fs::exists(dead); ++i) {
        living[0].Close(0);
        ASSERT_EQ(living[0].Open((name + "0").c_str(), 0, nullptr), 1);
    }
    EXPECT_FALSE(fs::exists(dead));
    for (CRingMessageBuffer& ring : living) {
        ring.Close(0);
    }
}

// A daemon closes all descriptors; files that it opens then get their numbers.
TEST(RingMessageBuffer, ClosesNoFileOfItsHost) {
    CRingMessageBuffer ring;
    ASSERT_EQ(ring.Open(("qz daemon " + std::to_string(getpid())).c_str(), 0, nullptr), 1);
    std::vector<int> files;
    for (int file = 3; file < 16; ++file) {
        close(file);
        files.push_back(open("/dev/null", O_RDONLY));
    }
    ring.Close(0);
    for (const int file : files) {
        EXPECT_GE(fcntl(file, F_GETFD), 0);
    }
}

TEST(RingMessageBuffer, ACancelledThreadFinishesItsCalls) {
    bool isDone = false;
    std::thread([&] {
        const std::string name = "qz_cancelled." + std::to_string(getpid());
        pthread_cancel(pthread_self());
        CRingMessageBuffer ring;
        isDone = ring.Open(name.c_str(), 0, nullptr) == 1 && ring.Close(0) == 1 &&
                 qz_publish(name.c_str()) == 1;
        qz_publish_stop();
    }).join();
    EXPECT_TRUE(isDone);
}

TEST(RingMessageBuffer, IsMadeUnderSignals) {
    struct sigaction interrupting {};
    interrupting.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGALRM, &interrupting, nullptr), 0);
    const itimerval often{{0, 500}, {0, 500}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
    const std::string name = "qz signals " + std::to_string(getpid());
    for (int i = 0; i < 5; ++i) {
        CRingMessageBuffer* const ring =
            CRingMessageBuffer::OpenNew(name.c_str(), 64 << 20, nullptr);
        EXPECT_NE(ring, nullptr);
        if (ring != nullptr) {
            ring->Close(1);
        }
    }
    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
}

// As some containers refuse the call that reserves room.
void refuseToReserve() {
    sock_filter steps[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_fallocate, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter{std::size(steps), steps};
    ASSERT_EQ(prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
    ASSERT_EQ(fallocate(-1, 0, 0, 1), -1);
    ASSERT_EQ(errno, EPERM);
}

// The limit on the size of files holds for shared memory, too.
TEST(RingMessageBuffer, ALimitOnFilesIsAFailure) {
    std::signal(SIGXFSZ, SIG_DFL);
    const rlimit limit{16384, RLIM_INFINITY};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
    CRingMessageBuffer ring;
    EXPECT_EQ(ring.Open("qz_limited", 65536, nullptr), 0);
    refuseToReserve();
    EXPECT_EQ(ring.Open("qz_limited", 65536, nullptr), 0);
    EXPECT_EQ(ring.Open("qz_small", 8192, nullptr), 1);
    EXPECT_EQ(ring.Close(0), 1);
}

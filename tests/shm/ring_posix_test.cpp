// What only this system has.
#include "Shm/RingBuffer.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/wait.h>
#include <unistd.h>

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

// A process that uses a ring of messages. processes_test.py starts several and kills some.
#include "Shm/RingBuffer.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned long kSize = 6000;

// "<number>:<0 to 250 letters>"
std::string messageOf(unsigned long number) {
    const auto letter = static_cast<char>('a' + number % 26);
    return std::to_string(number) + ':' + std::string(number * 7919 % 251, letter);
}

bool isWhole(const std::string& message) {
    return message == messageOf(std::strtoul(message.c_str(), nullptr, 10));
}

bool add(CRingMessageBuffer& ring, const std::string& text) {
    return ring.AddMessage(text.data(), static_cast<unsigned long>(text.size())) == 1;
}

bool get(CRingMessageBuffer& ring, std::string& text) {
    char buffer[512] = "";
    unsigned long words[3];
    int64_t time = 0;
    if (ring.GetMessageA(words[0], words[1], words[2], time, buffer, sizeof buffer) != 1) {
        return false;
    }
    text = buffer;
    return true;
}

void say(const char* text) {
    std::puts(text);
    std::fflush(stdout);
}

int fail(const char* problem) {
    say(problem);
    return 1;
}

// Runs until it is killed.
int churn(CRingMessageBuffer& ring) {
    say("ready");
    std::string message;
    for (unsigned long number = 1;; ++number) {
        add(ring, messageOf(number));
        while (number % 3 == 0 && get(ring, message)) {
        }
    }
}

// Says how many messages there are. Then, for each line of input, checks whether the ring is in
// order.
int check(CRingMessageBuffer& ring) {
    std::string message;
    int messages = 0;
    while (get(ring, message)) {
        ++messages;
    }
    say(std::to_string(messages).c_str());
    for (int c = 0; (c = std::getchar()) != EOF;) {
        if (c != '\n') {
            continue;
        }
        const auto start = Clock::now();
        if (!add(ring, messageOf(1))) {
            return fail("not added");
        }
        for (int i = 0; i < 1000 && get(ring, message); ++i) {
            if (!isWhole(message)) {
                return fail("torn");
            }
        }
        if (Clock::now() - start > std::chrono::milliseconds(2000)) {
            return fail("too late");
        }
        say("fine");
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    CRingMessageBuffer* const ring = CRingMessageBuffer::OpenNew(argv[2], kSize, nullptr);
    if (ring == nullptr) {
        return fail("cannot open");
    }
    const int result = argv[1] == std::string("churn") ? churn(*ring) : check(*ring);
    ring->Close(1);
    return result;
}

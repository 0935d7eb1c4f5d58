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

class Ring {
public:
    explicit Ring(const char* name) : ring_(CRingMessageBuffer::OpenNew(name, kSize, nullptr)) {
        if (ring_ == nullptr) {
            std::puts("cannot open");
            std::exit(1);
        }
    }
    ~Ring() { ring_->Close(1); }
    Ring(const Ring&) = delete;
    Ring& operator=(const Ring&) = delete;

    bool add(const std::string& text) {
        return ring_->AddMessage(text.data(), static_cast<unsigned long>(text.size())) == 1;
    }

    bool get(std::string& text) {
        char buffer[512] = "";
        unsigned long words[3];
        int64_t time = 0;
        if (ring_->GetMessageA(words[0], words[1], words[2], time, buffer, sizeof buffer) != 1) {
            return false;
        }
        text = buffer;
        return true;
    }

private:
    CRingMessageBuffer* ring_;
};

void say(const char* text) {
    std::puts(text);
    std::fflush(stdout);
}

int fail(const char* problem) {
    say(problem);
    return 1;
}

// Runs until it is killed.
int churn(Ring& ring) {
    say("ready");
    std::string message;
    for (unsigned long number = 1;; ++number) {
        ring.add(messageOf(number));
        while (number % 3 == 0 && ring.get(message)) {
        }
    }
}

// For each line of input, checks whether the ring is in order.
int check(Ring& ring) {
    say("ready");
    std::string message;
    for (int c = 0; (c = std::getchar()) != EOF;) {
        if (c != '\n') {
            continue;
        }
        const auto start = Clock::now();
        if (!ring.add(messageOf(1))) {
            return fail("not added");
        }
        for (int i = 0; i < 1000 && ring.get(message); ++i) {
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

int count(Ring& ring) {
    std::string message;
    int messages = 0;
    while (ring.get(message)) {
        ++messages;
    }
    std::printf("%d\n", messages);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return 2;
    }
    const std::string role = argv[1];
    Ring ring(argv[2]);
    return role == "churn"   ? churn(ring)
           : role == "check" ? check(ring)
           : role == "count" ? count(ring)
                             : 2;
}

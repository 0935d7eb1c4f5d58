// A process that uses a ring of messages. processes_test.py starts several and kills some.
#include "Core/Hash.h"
#include "Shm/RingBuffer.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned long kSize = 6000;
constexpr char kEnd[] = "end";

std::string checkOf(const std::string& text) {
    char check[16];
    std::snprintf(check, sizeof check, "%08x",
                  static_cast<unsigned int>(QZ_hash_data(text.data(), text.size(), 0)));
    return check;
}

// "<number>:<0 to 250 bytes>:<check>"
std::string messageOf(unsigned long number) {
    const auto filler = static_cast<char>('a' + number % 26);
    const std::string text =
        std::to_string(number) + ':' + std::string(number * 7919 % 251, filler) + ':';
    return text + checkOf(text);
}

bool isWhole(const std::string& message) {
    const std::size_t colon = message.rfind(':') + 1;
    return colon != 0 && checkOf(message.substr(0, colon)) == message.substr(colon);
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

int fail(const char* problem, const std::string& message) {
    std::printf("%s: %s\n", problem, message.c_str());
    return 1;
}

int read(Ring& ring) {
    const auto deadline = Clock::now() + std::chrono::seconds(60);
    unsigned long last = 0, count = 0;
    std::string message;
    say("ready");
    while (Clock::now() < deadline) {
        if (!ring.get(message)) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            continue;
        }
        if (message == kEnd) {
            std::printf("%lu of %lu\n", count, last);
            return 0;
        }
        const unsigned long number = std::strtoul(message.c_str(), nullptr, 10);
        if (!isWhole(message) || number <= last) {
            return fail("bad", message);
        }
        last = number;
        ++count;
    }
    return fail("no end after", message);
}

int write(Ring& ring, unsigned long most, std::chrono::milliseconds time) {
    const auto deadline = Clock::now() + time;
    unsigned long number = 0;
    while (number < most && (number % 64 != 0 || Clock::now() < deadline)) {
        if (!ring.add(messageOf(++number))) {
            return fail("not added", std::to_string(number));
        }
    }
    std::printf("%lu\n", number);
    return ring.add(kEnd) ? 0 : fail("not added", kEnd);
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
            return fail("not added", "");
        }
        for (int i = 0; i < 1000 && ring.get(message); ++i) {
            if (!isWhole(message)) {
                return fail("torn", message);
            }
        }
        if (Clock::now() - start > std::chrono::milliseconds(2000)) {
            return fail("too late", "");
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
    if (role == "write" && argc == 5) {
        return write(ring, std::strtoul(argv[3], nullptr, 10),
                     std::chrono::milliseconds(std::atoi(argv[4])));
    }
    return role == "read"    ? read(ring)
           : role == "churn" ? churn(ring)
           : role == "check" ? check(ring)
           : role == "count" ? count(ring)
                             : 2;
}

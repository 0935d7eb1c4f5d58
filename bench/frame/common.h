// The data that both sides of the frame work on.
#pragma once

#include "countdown.h"
#include "frame/frame.h"

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <string>
#include <vector>

namespace bench::frame {

constexpr std::uint32_t kFirstAddress = 256;

using Bytes = std::array<unsigned char, kMessageSize>;

// The work of a mailbox: it reads the whole message.
inline std::uint64_t sumOf(const Bytes& bytes) {
    std::uint64_t words[kMessageSize / 8];
    std::memcpy(words, bytes.data(), sizeof words);
    std::uint64_t sum = 0;
    for (const std::uint64_t word : words) {
        sum += word;
    }
    return sum;
}

// The receivers of a frame's messages.
inline std::vector<std::uint32_t> makeAddresses() {
    std::mt19937 random(1);
    std::vector<std::uint32_t> addresses(kMessages);
    for (std::uint32_t& address : addresses) {
        address = kFirstAddress + static_cast<std::uint32_t>(random() % kMailboxes);
    }
    return addresses;
}

inline std::vector<std::uint32_t> makeEvents() {
    std::mt19937 random(2);
    std::vector<std::uint32_t> events(kEvents);
    for (std::uint32_t& event : events) {
        event = random() % 4;
    }
    return events;
}

// Paths to settings of three levels, ten names on each.
inline std::vector<std::string> makePaths() {
    std::mt19937 random(3);
    const auto any = [&random](const char* what) { return what + std::to_string(random() % 10); };
    std::vector<std::string> paths(kSettings);
    for (std::string& path : paths) {
        path = any("video") + "." + any("window") + "." + any("option");
    }
    return paths;
}

inline std::vector<std::string> makeLines() {
    std::vector<std::string> lines(kLines);
    for (std::size_t i = 0; i < kLines; ++i) {
        lines[i] = "moved entity " + std::to_string(1000 + i) + " to sector 17, nothing to do";
    }
    return lines;
}

// --- Snapshots -----------------------------------------------------------------------------------

struct Entity {
    std::uint32_t id;
    float place[3];
    std::uint32_t state; // 0 to 255
    std::uint32_t flags; // 0 to 15
    unsigned char rest[20];
};

constexpr std::size_t kEntities = 800;
constexpr unsigned char kStateBits = 8, kFlagBits = 4;

inline std::vector<Entity> makeEntities() {
    std::mt19937 random(4);
    std::vector<Entity> entities(kEntities);
    for (Entity& entity : entities) {
        entity.id = static_cast<std::uint32_t>(random());
        for (float& value : entity.place) {
            value = static_cast<float>(random() % 200'000) / 7;
        }
        entity.state = random() % 256;
        entity.flags = random() % 16;
        for (unsigned char& byte : entity.rest) {
            byte = static_cast<unsigned char>(random());
        }
    }
    return entities;
}

inline std::uint64_t sumOf(const Entity& entity) {
    return entity.id + entity.state + entity.flags + static_cast<std::uint64_t>(entity.place[0]) +
           entity.rest[19];
}

// Memory of a type that children forked from here on share.
template<class T>
T* makeShared() {
    void* const memory =
        mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return new (memory) T;
}

// The process that decodes the frame's snapshots, and its progress.
class Reader {
public:
    // `read` waits for the next snapshot, takes it and returns the sum of its entities.
    template<class Read>
    explicit Reader(Read read) {
        if ((process_ = fork()) != 0) {
            return;
        }
        for (;;) {
            const std::uint64_t sum = read();
            shared_->sum = sum;
            shared_->decoded.fetch_add(1, std::memory_order_release);
            if (getppid() == 1) {
                _exit(0);
            }
        }
    }
    ~Reader() {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
        munmap(shared_, sizeof *shared_);
    }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    // Waits until the process has decoded so many snapshots.
    void wait(std::uint64_t snapshots) const {
        while (shared_->decoded.load(std::memory_order_acquire) < snapshots) {
            sched_yield();
        }
        if (shared_->sum != expected_) {
            std::fputs("a snapshot was not decoded well\n", stderr);
            std::abort();
        }
    }

private:
    struct Shared {
        std::atomic<std::uint64_t> decoded{0};
        std::uint64_t sum = 0;
    };

    static std::uint64_t sumOfAll() {
        std::uint64_t sum = 0;
        for (const Entity& entity : makeEntities()) {
            sum += sumOf(entity);
        }
        return sum;
    }

    Shared* shared_ = makeShared<Shared>();
    std::uint64_t expected_ = sumOfAll();
    pid_t process_;
};

} // namespace bench::frame

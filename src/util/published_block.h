// What a program publishes in shared memory. docs/formats/shared-memory.md describes it.
//
//   running memory   says that the program lives; only the program keeps it open
//   block            a head, the snapshot, and the log in a CRingBuffer
//
// The thread that publishes writes the snapshot, and the log's writer thread writes the log.
// Readers take no lock: they copy the snapshot, and do so again if the sequence was odd or has
// changed meanwhile.
#pragma once

#include "shm/shared_bytes.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace util {

constexpr std::string_view kRunningPrefix = "qz_running.";
constexpr std::string_view kBlockPrefix = "qz_published.";

constexpr std::uint32_t kPublishedMark = 0x31505A51; // "QZP1"
constexpr std::size_t kPublishedFrames = 512;
constexpr std::size_t kPublishedWatches = 16;

struct PublishedHead {
    std::uint32_t mark; // written last
    std::uint32_t size; // of the block
    std::uint64_t process;
    std::uint64_t started;  // when the program published first, in nanoseconds since 1970
    std::uint64_t sequence; // odd while the snapshot changes
};

struct PublishedFigures {
    std::uint64_t time;            // of the last call, in nanoseconds since 1970
    std::uint64_t frames;          // that have ended
    std::uint64_t rateFrames;      // the frames that ended in the time below
    std::uint64_t rateNanoseconds; // about a second; 0: not measured yet
    std::uint32_t workers;
    std::uint32_t tasksRunning;
    std::uint32_t tasksWaiting;
    std::uint32_t mainThreadTasks;
    std::uint64_t watches;
};

struct PublishedWatch {
    char name[32];
    char value[96];
};

struct PublishedSnapshot {
    PublishedFigures figures;
    std::uint64_t frameTimes[kPublishedFrames]; // in nanoseconds; frame n has place n mod 512
    PublishedWatch watches[kPublishedWatches];
};

// What a record of the log begins with; the text follows, without a terminator.
struct PublishedMessage {
    double time;
    std::uint32_t level;
    std::uint32_t lost;
    char module[64];
};

struct PublishedBlock {
    static constexpr std::size_t kSize = 256 << 10;

    PublishedHead head;
    PublishedSnapshot snapshot;
    char log[kSize - sizeof(PublishedHead) - sizeof(PublishedSnapshot)];
};

static_assert(sizeof(PublishedHead) == 32 && sizeof(PublishedFigures) == 56);
static_assert(offsetof(PublishedBlock, log) == 6232 && sizeof(PublishedBlock) == 256 << 10);

template<class Value>
void storePublished(Value& shared, const Value& value) {
    shm::storeShared(reinterpret_cast<char*>(&shared), reinterpret_cast<const char*>(&value),
                     sizeof value);
}

template<class Value>
Value loadPublished(Value& shared) {
    Value value;
    shm::loadShared(reinterpret_cast<char*>(&value), reinterpret_cast<char*>(&shared),
                    sizeof value);
    return value;
}

// Marks the snapshot as changing while it lives. Readers see the change whole or not at all.
class PublishedChange {
public:
    // The sequence is odd already if another program died in the middle of a change.
    explicit PublishedChange(PublishedHead& head)
        : sequence_(head.sequence)
        , before_(sequence_.load(std::memory_order_relaxed) & ~std::uint64_t{1}) {
        // The stores that follow are releases.
        sequence_.store(before_ + 1, std::memory_order_relaxed);
    }
    ~PublishedChange() { sequence_.store(before_ + 2, std::memory_order_release); }
    PublishedChange(const PublishedChange&) = delete;
    PublishedChange& operator=(const PublishedChange&) = delete;

private:
    std::atomic_ref<std::uint64_t> sequence_;
    std::uint64_t before_;
};

// "<prefix><name>.<process>": one program at a time has it.
inline std::string publishedAs(std::string_view prefix, std::string_view name,
                               std::uint64_t process) {
    return std::string(prefix).append(name).append(1, '.').append(std::to_string(process));
}

} // namespace util

// Messages between processes, on one processor and on two, compared with another queue in shared
// memory and a pipe; and the lines of a mapped file, compared with other ways to find them.
//
// A ring overwrites messages that are not read in time, the peers wait. So that no message is lost,
// the writer of a ring also waits while too many are unread.
#include "goals.h"

#include "Shm/MappedFile.h"
#include "Shm/RingBuffer.h"

#include <benchmark/benchmark.h>
#include <boost/interprocess/ipc/message_queue.hpp>

#include <sched.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __SSE2__
#    include <emmintrin.h>
#endif

#include <atomic>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <string>
#include <vector>

namespace {

using bench::atMost;
using bench::beside;

constexpr bench::Goal kGoals[] = {
    atMost(0.9, "messages/boost/64/1", "messages/qz/64/1"),
    atMost(0.9, "messages/boost/64/2", "messages/qz/64/2"),
    atMost(0.9, "messages/boost/1024/1", "messages/qz/1024/1"),
    atMost(0.9, "messages/boost/1024/2", "messages/qz/1024/2"),
    atMost(0.7, "messages/boost/64/1", "messages/qz_records/64/1"),
    atMost(0.7, "messages/boost/64/2", "messages/qz_records/64/2"),
    atMost(0.7, "messages/boost/1024/1", "messages/qz_records/1024/1"),
    atMost(0.7, "messages/boost/1024/2", "messages/qz_records/1024/2"),
    beside("messages/pipe/64/1", "messages/qz/64/1"),
    beside("messages/pipe/64/2", "messages/qz/64/2"),
    atMost(1.0, "getline/memchr/5/1", "getline/qz/5/1"),
    atMost(0.5, "getline/std/5/1", "getline/qz/5/1"),
    atMost(1.0, "getline/memchr/5/2", "getline/qz/5/2"),
    atMost(0.5, "getline/std/5/2", "getline/qz/5/2"),
    atMost(1.0, "getline/memchr/45/1", "getline/qz/45/1"),
    atMost(0.5, "getline/std/45/1", "getline/qz/45/1"),
    atMost(1.0, "getline/memchr/45/2", "getline/qz/45/2"),
    atMost(0.5, "getline/std/45/2", "getline/qz/45/2"),
    atMost(1.0, "getline/memchr/1000/1", "getline/qz/1000/1"),
    atMost(0.5, "getline/std/1000/1", "getline/qz/1000/1"),
    atMost(1.0, "getline/memchr/1000/2", "getline/qz/1000/2"),
    atMost(0.5, "getline/std/1000/2", "getline/qz/1000/2"),
};

// --- Messages between processes ---------------------------------------------------------------

constexpr std::uint64_t kDepth = 1024; // most unread messages
constexpr std::uint64_t kReport = 64;  // messages that the reader takes before it reports

void runOn(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<unsigned int>(processor), &set);
    sched_setaffinity(0, sizeof set, &set);
}

// Waits for the other process, which acts soon if it has a processor.
void waitABit(int turn) {
    if (turn < 30) {
        __builtin_ia32_pause();
    } else {
        sched_yield();
    }
}

// The state that the two processes share.
struct Progress {
    alignas(64) std::atomic<std::uint64_t> received{0};
    alignas(64) std::atomic<bool> isOver{false};

    static Progress* makeShared() {
        void* const memory = mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE,
                                  MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return new (memory) Progress;
    }
    static void release(Progress* progress) { munmap(progress, sizeof(Progress)); }

    // For writers to a ring, which does not wait by itself.
    void waitForRoom(std::uint64_t sent) const {
        for (int i = 0; sent - received.load(std::memory_order_acquire) >= kDepth - kReport; ++i) {
            waitABit(i);
        }
    }
};

std::string nameOf() {
    return "shm_bench." + std::to_string(getpid());
}

// Channels: made before the fork, used by both sides.
class QzMessages {
public:
    explicit QzMessages(std::size_t size)
        : name_(nameOf())
        , bytes_(kDepth * (size + 24))
        , ring_(CRingMessageBuffer::OpenNew(name_.c_str(), bytes_, nullptr)) {}
    ~QzMessages() { ring_->Close(1); }
    QzMessages(const QzMessages&) = delete;
    QzMessages& operator=(const QzMessages&) = delete;

    void openInReader() { ring_ = CRingMessageBuffer::OpenNew(name_.c_str(), bytes_, nullptr); }
    void send(const char* message, std::size_t size, const Progress& progress) {
        progress.waitForRoom(sent_++);
        ring_->AddMessage(message, size);
    }
    bool receive(char* message, std::size_t size) {
        unsigned long word = 0;
        std::int64_t time = 0;
        return ring_->GetMessageA(word, word, word, time, message, size) != 0;
    }

private:
    std::string name_;
    std::size_t bytes_;
    CRingMessageBuffer* ring_;
    std::uint64_t sent_ = 0;
};

class QzRecords {
public:
    explicit QzRecords(std::size_t size) : bytes_(kDepth * (size + 4) + 64) {
        block_ = static_cast<char*>(
            mmap(nullptr, bytes_, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        ring_.Init(block_, bytes_);
    }
    ~QzRecords() { munmap(block_, bytes_); }
    QzRecords(const QzRecords&) = delete;
    QzRecords& operator=(const QzRecords&) = delete;

    void openInReader() { ring_.Open(block_); }
    void send(const char* message, std::size_t size, const Progress& progress) {
        progress.waitForRoom(sent_++);
        ring_.PushStart(size);
        ring_.PushData(message, size);
        ring_.PushStop();
    }
    bool receive(char* message, std::size_t size) {
        const unsigned long length = ring_.PopStart(nullptr);
        return length != 0 && ring_.PopData(message, size, length) == 1;
    }

private:
    std::size_t bytes_;
    char* block_;
    CRingBuffer ring_;
    std::uint64_t sent_ = 0;
};

class BoostQueue {
public:
    explicit BoostQueue(std::size_t size)
        : name_(nameOf()), queue_(boost::interprocess::create_only, name_.c_str(), kDepth, size) {}
    ~BoostQueue() { boost::interprocess::message_queue::remove(name_.c_str()); }
    BoostQueue(const BoostQueue&) = delete;
    BoostQueue& operator=(const BoostQueue&) = delete;

    void openInReader() {}
    void send(const char* message, std::size_t size, const Progress&) {
        queue_.send(message, size, 0);
    }
    bool receive(char* message, std::size_t size) {
        std::size_t received = 0;
        unsigned int priority = 0;
        queue_.receive(message, size, received, priority);
        return true;
    }

private:
    std::string name_;
    boost::interprocess::message_queue queue_;
};

class Pipe {
public:
    explicit Pipe(std::size_t) {
        if (pipe(ends_) != 0) {
            std::abort();
        }
    }
    ~Pipe() {
        close(ends_[0]);
        close(ends_[1]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void openInReader() {}
    void send(const char* message, std::size_t size, const Progress&) {
        if (write(ends_[1], message, size) != static_cast<ssize_t>(size)) {
            std::abort();
        }
    }
    bool receive(char* message, std::size_t size) {
        for (std::size_t done = 0; done < size;) {
            const ssize_t count = read(ends_[0], message + done, size - done);
            if (count <= 0) {
                std::abort();
            }
            done += static_cast<std::size_t>(count);
        }
        return true;
    }

private:
    int ends_[2];
};

// The last message begins with a 1.
template<class Channel>
[[noreturn]] void readAll(Channel& channel, std::size_t size, Progress& progress) {
    channel.openInReader();
    std::vector<char> message(size);
    std::uint64_t count = 0;
    int empty = 0;
    while (message[0] == 0) {
        if (channel.receive(message.data(), size)) {
            empty = 0;
            if (++count % kReport == 0) {
                progress.received.store(count, std::memory_order_release);
            }
        } else {
            progress.received.store(count, std::memory_order_release);
            waitABit(empty++);
        }
    }
    progress.received.store(count, std::memory_order_release);
    progress.isOver = true;
    _exit(0);
}

template<class Channel>
void messages(benchmark::State& state) {
    const auto size = static_cast<std::size_t>(state.range(0));
    Channel channel(size);
    Progress& progress = *Progress::makeShared();
    runOn(0);
    const pid_t reader = fork();
    if (reader == 0) {
        runOn(state.range(1) == 2 ? 1 : 0);
        readAll(channel, size, progress);
    }
    std::vector<char> message(size);
    for (auto _ : state) {
        channel.send(message.data(), size, progress);
    }
    message[0] = 1;
    channel.send(message.data(), size, progress);
    waitpid(reader, nullptr, 0);
    if (progress.received.load() != static_cast<std::uint64_t>(state.iterations()) + 1) {
        state.SkipWithError("messages were lost");
    }
    Progress::release(&progress);
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void sizesAndPlaces(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgsProduct({{64, 1024}, {1, 2}})->UseRealTime();
}

BENCHMARK(messages<QzMessages>)->Name("messages/qz")->Apply(sizesAndPlaces);
BENCHMARK(messages<QzRecords>)->Name("messages/qz_records")->Apply(sizesAndPlaces);
BENCHMARK(messages<BoostQueue>)->Name("messages/boost")->Apply(sizesAndPlaces);
BENCHMARK(messages<Pipe>)->Name("messages/pipe")->Apply(sizesAndPlaces);

// --- Lines of a file --------------------------------------------------------------------------

constexpr std::size_t kFileSize = 100'000'000;

// Lines of one length, and breaks of one or two bytes; made when the shape changes.
class SampleFile {
public:
    ~SampleFile() { std::remove(path()); }

    const char* path() const { return "shm_bench.sample"; }

    void shape(const benchmark::State& state) {
        const auto length = static_cast<std::size_t>(state.range(0));
        const std::string line = std::string(length, 'x') + (state.range(1) == 1 ? "\n" : "\r\n");
        if (line == line_) {
            return;
        }
        std::ofstream file(path(), std::ios::binary);
        for (lines_ = 0; lines_ * line.size() < kFileSize; ++lines_) {
            file << line;
        }
        line_ = line;
    }

    std::uint64_t lines() const { return lines_; }
    std::size_t bytes() const { return lines_ * line_.size(); }

private:
    std::string line_;
    std::uint64_t lines_ = 0;
};

SampleFile sample;

// Each way counts lines, and their bytes without the breaks.
struct Found {
    std::uint64_t lines = 0;
    std::uint64_t bytes = 0;
};

Found linesOfLibrary(const misc::mmf& file) {
    Found found;
    unsigned int pos = 0;
    int length = 0;
    while (file.getline(pos, length) != nullptr) {
        ++found.lines;
        found.bytes += static_cast<std::uint64_t>(length);
    }
    return found;
}

Found linesByMemchr(const misc::mmf& file) {
    Found found;
    const char* at = file.view;
    const char* const end = at + file.size;
    while (at != end) {
        const void* const feed = std::memchr(at, '\n', static_cast<std::size_t>(end - at));
        const char* const lineEnd = feed == nullptr ? end : static_cast<const char*>(feed);
        const bool hasReturn = lineEnd != at && lineEnd[-1] == '\r';
        ++found.lines;
        found.bytes += static_cast<std::uint64_t>(lineEnd - at - (hasReturn ? 1 : 0));
        benchmark::DoNotOptimize(at); // as if a caller used the line
        at = lineEnd == end ? end : lineEnd + 1;
    }
    return found;
}

#ifdef __SSE2__
// Reads no byte twice, which functions that return line by line cannot avoid.
Found linesByMasks(const misc::mmf& file) {
    Found found;
    const char* const bytes = file.view;
    const __m128i carriageReturn = _mm_set1_epi8('\r'), lineFeed = _mm_set1_epi8('\n');
    std::size_t start = 0;
    for (std::size_t block = 0; block + 16 <= file.size; block += 16) {
        const __m128i value = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + block));
        auto ends = static_cast<unsigned int>(_mm_movemask_epi8(
            _mm_or_si128(_mm_cmpeq_epi8(value, carriageReturn), _mm_cmpeq_epi8(value, lineFeed))));
        for (; ends != 0; ends &= ends - 1) {
            const std::size_t end = block + static_cast<std::size_t>(std::countr_zero(ends));
            if (end != start) {
                ++found.lines;
                found.bytes += end - start;
            }
            start = end + 1;
        }
    }
    return found;
}
#endif

template<class Read>
void getline(benchmark::State& state, Read read) {
    sample.shape(state);
    const misc::mmf file(sample.path(), true);
    read(file); // brings its pages into memory
    for (auto _ : state) {
        const Found found = read(file);
        if (found.lines + 1 < sample.lines()) {
            state.SkipWithError("lines are missing");
        }
        benchmark::DoNotOptimize(found.bytes);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sample.bytes()));
}

void getlineStd(benchmark::State& state) {
    sample.shape(state);
    for (auto _ : state) {
        std::ifstream file(sample.path(), std::ios::binary);
        Found found;
        for (std::string line; std::getline(file, line); ++found.lines) {
            found.bytes += line.size();
        }
        benchmark::DoNotOptimize(found.bytes);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(sample.bytes()));
}

void lengthsAndBreaks(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgsProduct({{5, 45, 1000}, {1, 2}})->Unit(benchmark::kMillisecond);
}

BENCHMARK_CAPTURE(getline, qz, linesOfLibrary)->Name("getline/qz")->Apply(lengthsAndBreaks);
BENCHMARK_CAPTURE(getline, memchr, linesByMemchr)->Name("getline/memchr")->Apply(lengthsAndBreaks);
#ifdef __SSE2__
BENCHMARK_CAPTURE(getline, masks, linesByMasks)->Name("getline/masks")->Apply(lengthsAndBreaks);
#endif
BENCHMARK(getlineStd)->Name("getline/std")->Apply(lengthsAndBreaks);

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

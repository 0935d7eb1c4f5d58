// The memory in which a program publishes itself.
#pragma once

#include "platform/shared_memory.h"
#include "util/published_block.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct qz_log_reader;

namespace util {

// For the unloading of the library and the end of the process: ends the publication for good,
// unless another thread is just publishing.
void closePublication();

class Publication {
public:
    // Null if the system gives no memory, or another program has that name and process number.
    // Throws std::bad_alloc.
    static std::unique_ptr<Publication> open(std::string_view name);

    ~Publication();
    Publication(const Publication&) = delete;
    Publication& operator=(const Publication&) = delete;

    // Whether this process has made it, with that name.
    bool isOf(std::string_view name) const;

    void publish();

private:
    // The watches, which are read over several calls.
    struct Watches {
        PublishedWatch places[kPublishedWatches] = {};
        std::size_t count = 0;
        std::size_t read = 0;
        bool isListed = false;
        bool isWhole = false; // all are read and published
    };

    Publication(std::string_view name, std::uint64_t process);

    bool makeBlock();
    void initialise();
    bool isOfThisProcess() const;

    void attachLog();
    void publishFigures();
    void publishFrames(std::span<const double> seconds);
    void listWatches();
    void readWatches(std::size_t most);
    void measureRate(double now);

    const std::string name_;
    const std::uint64_t process_;
    std::shared_ptr<platform::SharedMemory> memory_; // the log's sink has it, too
    platform::OpenSharedMemory running_;             // closed before the memory
    PublishedBlock* block_ = nullptr;
    qz_log_reader* log_ = nullptr;
    bool isLogMissed_ = false; // a warning has said that the log is not published
    PublishedFigures figures_{};
    Watches watches_{.isWhole = true};
    std::uint64_t nextFrame_ = 0; // its number in the profiler
    double nextLook_ = 0;         // when to list the watches
    double rateStart_ = 0;
    std::uint64_t rateStartFrames_ = 0;
};

} // namespace util

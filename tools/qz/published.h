// What running programs publish in shared memory. Nothing that is read there is believed.
#pragma once

#include "platform/shared_memory.h"
#include "util/published_block.h"

#include "Shm/RingBuffer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct Program {
    std::string name;
    std::uint64_t process = 0;

    auto operator<=>(const Program&) const = default;
};

// By name and number. What is dead is none of them.
std::vector<Program> runningPrograms();

struct LogLine {
    double time;
    unsigned int level;
    std::string module;
    std::string text;
    unsigned int lost; // messages just before it
    bool isBehindGap;  // lines between it and the one before were overwritten
};

// A block, as one reader sees it.
class PublishedView {
public:
    // Throws Failure if it is no block. The memory outlives the view.
    PublishedView(char* memory, std::uint64_t size);

    // Whether it is still the same program's.
    bool isSame() const;

    // Texts in it are terminated and counts are in bounds. Nothing if the program stands still, or
    // has died, in the middle of a change.
    std::optional<util::PublishedSnapshot> snapshot() const;

    // The next line of the log, from the oldest on; nothing if there is none yet, or if the block
    // is another program's now.
    std::optional<LogLine> nextLine();

private:
    bool readMessage(util::PublishedMessage& message, std::string& text, unsigned long length);

    util::PublishedBlock* block_;
    std::uint64_t started_;
    CRingBuffer log_;
    bool isBehindGap_ = false;
};

// A program that is watched, and, if it was called by its name alone, the next one of that name.
class Watched {
public:
    // address: "name", or "name.process". Throws Failure if there is no such program, or more than
    // one.
    explicit Watched(const std::string& address);

    const Program& program() const { return program_; }
    PublishedView& view() { return *view_; }

    // Its block can be read nevertheless.
    bool hasEnded() const;

    // Whether another one may take its place.
    bool mayHaveNext() const { return mayHaveNext_; }

    // After its end: goes on to the next one, if that has come. Throws Failure if several have.
    bool findNext();

private:
    bool open(const Program& program);

    Program program_;
    bool mayHaveNext_;
    platform::OpenSharedMemory memory_;
    std::unique_ptr<PublishedView> view_;
};

// Reads what running programs publish in shared memory. Nothing in that memory is trusted.
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

// Sorted by name and number. Dead programs are left out.
std::vector<Program> runningPrograms();

struct LogLine {
    double time;
    unsigned int level;
    std::string module;
    std::string text;
    unsigned int lost; // messages lost just before this line
    bool isBehindGap;  // lines before this one were overwritten unread
};

// One reader's view of a block.
class PublishedView {
public:
    // Throws Failure if the memory is no block. It must outlive the view.
    PublishedView(char* memory, std::uint64_t size);

    // Whether the block still belongs to the same program.
    bool isSame() const;

    // Its texts are terminated and its counts are in bounds. Empty if the program was stopped, or
    // has died, in the middle of a change.
    std::optional<util::PublishedSnapshot> snapshot() const;

    // The next line of the log, from the oldest on; empty if there is none yet, or if the block now
    // belongs to another program.
    std::optional<LogLine> nextLine();

private:
    bool readMessage(util::PublishedMessage& message, std::string& text, unsigned long length);

    util::PublishedBlock* block_;
    std::uint64_t started_;
    CRingBuffer log_;
    bool isBehindGap_ = false;
};

// A watched program, and, if it was named without a process number, the next one of that name.
class Watched {
public:
    // address: "name", or "name.process". Throws Failure if there is no such program, or more than
    // one.
    explicit Watched(const std::string& address);

    const Program& program() const { return program_; }
    PublishedView& view() { return *view_; }

    // The block of a program that has ended can still be read.
    bool hasEnded() const;

    // Whether another program may replace this one.
    bool mayHaveNext() const { return mayHaveNext_; }

    // After its end: switches to the next program of that name; false if there is none. Throws
    // Failure if there are several.
    bool findNext();

private:
    bool open(const Program& program);

    Program program_;
    bool mayHaveNext_;
    platform::OpenSharedMemory memory_;
    std::unique_ptr<PublishedView> view_;
};

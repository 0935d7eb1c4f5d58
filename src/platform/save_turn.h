// One at a time of those who compare a file with what they know of it and then replace it.
#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

// The turn to do so in the file's directory, among all programs that take turns. It belongs to one
// thread and must be taken once by it. Allocates nothing. Where the system has no such lock, for
// instance on some network drives, everybody has the turn at once.
class SaveTurn {
public:
    // Waits for others. Symbolic links are followed as replaceContents does.
    explicit SaveTurn(const char* path) noexcept;
    ~SaveTurn();
    SaveTurn(const SaveTurn&) = delete;
    SaveTurn& operator=(const SaveTurn&) = delete;

    // False if others did not end in time.
    bool isMine() const { return isMine_; }

private:
    static constexpr std::chrono::seconds kLongestWait{30};

    static constexpr std::intptr_t kNone = -1;

    std::intptr_t lock_ = kNone; // the system's
    bool isMine_ = true;
};

} // namespace platform

// One at a time of those who compare a file with what they know of it and then replace it.
#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

// The turn to replace a file, among all programs that take turns: on Linux a lock on the file, on
// Windows a mutex for its directory. It belongs to the thread that took it, which must not take a
// second one of the same file before it has given up the first. Allocates nothing. Where the system
// has no such lock, for instance on some network drives, everybody has the turn at once.
class SaveTurn {
public:
    // Waits for others. Symbolic links are followed as replaceContents does.
    SaveTurn(const char* path, std::chrono::milliseconds longestWait) noexcept;
    ~SaveTurn();
    SaveTurn(const SaveTurn&) = delete;
    SaveTurn& operator=(const SaveTurn&) = delete;

    // False if others did not end in time.
    bool isMine() const { return isMine_; }

private:
    static constexpr std::intptr_t kNone = -1;

    std::intptr_t lock_ = kNone; // the system's
    bool isMine_ = true;
};

} // namespace platform

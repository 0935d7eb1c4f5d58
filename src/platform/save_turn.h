// Lets one program at a time compare a file with what it knows of it and then replace the file.
#pragma once

#include <chrono>
#include <cstdint>

namespace platform {

// The turn to replace a file, among all programs that take turns: on Linux a lock on the file, or
// on its directory while there is no file; on Windows a mutex for its directory. The turn belongs
// to the thread that took it, which gives it up before it takes another one of the same file.
// Allocates nothing. Where the system has no such lock, for instance on some network drives,
// everybody has the turn at once.
class SaveTurn {
public:
    // Waits for others. Symbolic links are followed as replaceContents does.
    explicit SaveTurn(const char* path,
                      std::chrono::milliseconds longestWait = std::chrono::seconds(1)) noexcept;
    ~SaveTurn();
    SaveTurn(const SaveTurn&) = delete;
    SaveTurn& operator=(const SaveTurn&) = delete;

    // False if the others did not finish in time.
    bool isMine() const { return isMine_; }

private:
    static constexpr std::intptr_t kNone = -1;

    std::intptr_t lock_ = kNone; // the system's
    bool isMine_ = true;
};

} // namespace platform

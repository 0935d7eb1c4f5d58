// What the library itself needs of the watch table.
#pragma once

namespace core {

// For the library's start-up and shut-down.
void openWatchTable();

// Clears every place and puts the table out of use. Nobody may be in one of its functions.
void closeWatchTable();

// Keeps other threads from the table, which the holder may go on using. For a caller that must not
// wait long: another thread may be in a slow callback, or, in a forked child, may have the table
// for ever.
class HeldWatchTable {
public:
    HeldWatchTable();
    ~HeldWatchTable();
    HeldWatchTable(const HeldWatchTable&) = delete;
    HeldWatchTable& operator=(const HeldWatchTable&) = delete;

    // False if another thread has the table.
    explicit operator bool() const { return isHeld_; }

private:
    const bool isHeld_;
};

} // namespace core

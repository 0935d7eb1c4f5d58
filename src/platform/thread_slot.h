// A pointer of which each thread has its own value, and a call when a thread ends.
#pragma once

#include <cstdint>

namespace platform {

class ThreadSlot {
public:
    using AtEnd = void (*)(void* value);

    // False if the system has no slot left. When a thread ends with a value other than null, atEnd
    // is called with that value, and the slot is null. The call comes late, perhaps while the
    // process ends, so atEnd takes no lock and allocates nothing.
    bool open(AtEnd atEnd);

    // Later ends of threads do not call atEnd. close() itself may call it for values that are set.
    void close();

    void* get() const;

    // False if the system has no memory for it.
    bool set(void* value);

private:
    std::uint32_t key_ = 0;
};

} // namespace platform

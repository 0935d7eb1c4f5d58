// A pointer of each thread's own, and word of a thread's end.
#pragma once

#include <cstdint>

namespace platform {

class ThreadSlot {
public:
    using AtEnd = void (*)(void* value);

    // False if the system has no slot left. A thread that ends with a value other than null has it
    // taken away and atEnd called with it; that happens late, perhaps while the process ends, so
    // atEnd takes no lock and allocates nothing.
    bool open(AtEnd atEnd);

    // From then on no end calls atEnd. The closing itself may, for values that are there.
    void close();

    void* get() const;

    // False if the system has no memory for it.
    bool set(void* value);

private:
    std::uint32_t key_ = 0;
};

} // namespace platform

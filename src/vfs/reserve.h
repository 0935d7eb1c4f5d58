// A few small blocks for PhysicsFS when memory runs out. It does not survive the lack of some: it
// uses a lock that it could not allocate, and frees an archive twice that it has no record for.
#pragma once

#include <array>
#include <cstddef>
#include <mutex>

namespace vfs {

// While it lives, small allocations of its thread have something to fall back to. One thread at a
// time has one; others wait for it.
class Reserve {
public:
    Reserve();
    ~Reserve();
    Reserve(const Reserve&) = delete;
    Reserve& operator=(const Reserve&) = delete;

    // False if there is not even memory for the reserve: then PhysicsFS must not be called.
    explicit operator bool() const { return filled_; }

    // A block for releaseRecycled. Null if it is no small one, if the reserve is used up, or if the
    // calling thread has none.
    static void* take(std::size_t size);

private:
    // The blocks that PhysicsFS needs have fewer bytes, and each entry of an archive has more, so
    // that a large archive does not use up the reserve.
    static constexpr std::size_t kBlockSize = 64;

    // PhysicsFS begins with its locks. Mounting needs less than ten small blocks.
    static constexpr std::size_t kCount = 16;

    std::lock_guard<std::mutex> turn_;
    std::array<void*, kCount> blocks_{};
    std::size_t count_ = 0;
    bool filled_ = false;
};

} // namespace vfs

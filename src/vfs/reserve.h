// A few small blocks for PhysicsFS when memory runs out. PhysicsFS crashes without some of them: it
// uses a lock that it could not allocate, and frees an archive twice if there is no memory for its
// record.
#pragma once

#include <array>
#include <cstddef>

namespace vfs {

// While it lives, small allocations of its thread fall back to its blocks. Only one thread at a
// time may have a reserve.
class Reserve {
public:
    Reserve();
    ~Reserve();
    Reserve(const Reserve&) = delete;
    Reserve& operator=(const Reserve&) = delete;

    // False if there is no memory for the reserve itself: then PhysicsFS must not be called.
    explicit operator bool() const { return filled_; }

    // A block, to be freed by releaseRecycled. Null if `size` is not small, if the reserve is used
    // up, or if the calling thread has no reserve.
    static void* take(std::size_t size);

private:
    // The blocks that PhysicsFS must get are smaller. Its block for an entry of an archive is
    // larger, so a large archive does not use up the reserve.
    static constexpr std::size_t kBlockSize = 64;

    // Enough for the locks that PhysicsFS makes first, and for mounting, which needs fewer than ten
    // small blocks.
    static constexpr std::size_t kCount = 16;

    std::array<void*, kCount> blocks_{};
    std::size_t count_ = 0;
    bool filled_ = false;
};

} // namespace vfs

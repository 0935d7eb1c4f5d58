#include "vfs/sized_memory.h"

#include "core/memory_pool.h"

#include <array>
#include <atomic>
#include <limits>

namespace vfs {

namespace {

// Stands in front of each block. Its size keeps blocks aligned.
struct alignas(std::max_align_t) Header {
    std::size_t size; // of the block and the header
};

Header* headerOf(void* block) {
    return block == nullptr ? nullptr : static_cast<Header*>(block) - 1;
}

// Keeps small blocks by their sizes. Does nothing while another thread is using it: the caller then
// goes to the pool.
class Shelves {
public:
    static constexpr std::size_t kStep = 64;
    static constexpr std::size_t kLargest = 4 * kStep;

    // A block of exactly that size; null if there is none.
    Header* take(std::size_t size) {
        const Turn turn(busy_);
        Shelf& shelf = shelfFor(size);
        return turn && shelf.count > 0 ? shelf.blocks[--shelf.count] : nullptr;
    }

    bool keep(Header* block) {
        const Turn turn(busy_);
        Shelf& shelf = shelfFor(block->size);
        if (!turn || shelf.count == shelf.blocks.size()) {
            return false;
        }
        shelf.blocks[shelf.count++] = block;
        return true;
    }

private:
    struct Shelf {
        std::array<Header*, 8> blocks;
        std::size_t count;
    };

    class Turn {
    public:
        explicit Turn(std::atomic_flag& busy)
            : busy_(busy), isOurs_(!busy.test_and_set(std::memory_order_acquire)) {}
        ~Turn() {
            if (isOurs_) {
                busy_.clear(std::memory_order_release);
            }
        }
        Turn(const Turn&) = delete;
        Turn& operator=(const Turn&) = delete;

        explicit operator bool() const { return isOurs_; }

    private:
        std::atomic_flag& busy_;
        bool isOurs_;
    };

    Shelf& shelfFor(std::size_t size) { return shelves_[size / kStep - 1]; }

    std::atomic_flag busy_;
    std::array<Shelf, kLargest / kStep> shelves_{};
};

constinit Shelves shelves;

bool isShelved(std::size_t size) {
    return size <= Shelves::kLargest && size % Shelves::kStep == 0;
}

} // namespace

void* allocateSized(std::size_t size) {
    return reallocateSized(nullptr, size);
}

void* reallocateSized(void* block, std::size_t size) {
    if (size > std::numeric_limits<std::size_t>::max() - sizeof(Header)) {
        return nullptr;
    }
    Header* const old = headerOf(block);
    const std::size_t total = size + sizeof(Header);
    auto* const header = static_cast<Header*>(
        core::defaultPool().reallocate(old, old == nullptr ? 0 : old->size, total));
    if (header == nullptr) {
        return nullptr;
    }
    header->size = total;
    return header + 1;
}

void releaseSized(void* block) {
    if (Header* const header = headerOf(block)) {
        core::defaultPool().release(header, header->size);
    }
}

void* allocateRecycled(std::size_t size) {
    if (size > Shelves::kLargest - sizeof(Header)) {
        return allocateSized(size);
    }
    const std::size_t total =
        (size + sizeof(Header) + Shelves::kStep - 1) / Shelves::kStep * Shelves::kStep;
    Header* const kept = shelves.take(total);
    return kept != nullptr ? kept + 1 : allocateSized(total - sizeof(Header));
}

void releaseRecycled(void* block) {
    Header* const header = headerOf(block);
    if (header == nullptr || !isShelved(header->size) || !shelves.keep(header)) {
        releaseSized(block);
    }
}

void dropRecycled() {
    for (std::size_t size = Shelves::kStep; size <= Shelves::kLargest; size += Shelves::kStep) {
        while (Header* const kept = shelves.take(size)) {
            releaseSized(kept + 1);
        }
    }
}

} // namespace vfs

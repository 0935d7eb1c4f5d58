// Memory for what changes add to a tree, in blocks that are released one by one or all at once. The
// standard library's pool resource loses count in GCC 12 when an allocation fails.
#pragma once

#include <cstddef>
#include <new>

namespace qz::config {

class ChangedMemory {
public:
    ChangedMemory() = default;
    ~ChangedMemory() { releaseAll(); }
    ChangedMemory(const ChangedMemory&) = delete;
    ChangedMemory& operator=(const ChangedMemory&) = delete;

    // Aligned like memory from `new`; throws what `new` throws.
    void* allocate(std::size_t size) {
        auto* const block =
            new (::operator new(sizeof(Block) + size)) Block{blocks_.next, &blocks_};
        block->next->previous = block;
        blocks_.next = block;
        return block + 1;
    }

    void release(const void* memory) {
        auto* const block = static_cast<Block*>(const_cast<void*>(memory)) - 1;
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): it does not see the links change
        block->previous->next = block->next;
        block->next->previous = block->previous;
        ::operator delete(block);
    }

    void releaseAll() {
        while (blocks_.next != &blocks_) {
            release(blocks_.next + 1);
        }
    }

private:
    // Stands in front of each block's memory.
    struct alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) Block {
        Block* next;
        Block* previous;
    };

    Block blocks_{&blocks_, &blocks_}; // the ring's start
};

} // namespace qz::config

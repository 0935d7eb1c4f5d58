/* The allocator of the library's containers, and the count of what they hold. C++ only, for
 * programs built by the library's compiler.
 *
 * Blocks come from the process's default pool, the one behind the watch "Main pool", and are
 * counted by the watch "STL allocator". Containers with this allocator work from the load of the
 * library on, in static initialisers too. They must be destroyed before the library is unloaded.
 *
 * Threads: any. One thread may release a block that another one allocated.
 */
#ifndef QZCORE_COMMON_ALLOCATOR_H
#define QZCORE_COMMON_ALLOCATOR_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <list>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qz {

/* Count an allocation, before it is made, and a release, after it was made. They are for allocators
 * and buffers that are to appear in the watch; qz::allocator calls them itself. */
QZ_API void incSTLAllocatorCounter(std::uint64_t bytes);
QZ_API void decSTLAllocatorCounter(std::uint64_t bytes);

/* The bytes that are counted as allocated, less those counted as released. */
QZ_API std::uint64_t getSTLAllocatorCounter();

/* Allocate and release a counted block of the default pool. It is aligned to 16 bytes, a block of
 * up to 8 bytes to 8. Allocating throws std::bad_alloc. Releasing takes the size that the block was
 * allocated with, and ignores null. */
QZ_API void* allocateCounted(std::size_t bytes);
QZ_API void releaseCounted(void* block, std::size_t bytes);

/* Throws std::length_error with the text that qz::allocator has for every container. */
[[noreturn]] QZ_API void throwTooLong();

/* A standard allocator over these two functions. All allocators of this kind are equal. */
template<typename T>
class allocator {
public:
    using value_type = T;

    allocator() = default;

    template<typename U>
    allocator(const allocator<U>&) {}

    /* Throws std::bad_alloc, and std::length_error if the block would be larger than PTRDIFF_MAX
     * bytes. */
    T* allocate(std::size_t count) {
        static_assert(alignof(T) <= 16, "the pool aligns to 16 bytes");
        if (count > PTRDIFF_MAX / bytes(1)) {
            throwTooLong();
        }
        return static_cast<T*>(allocateCounted(bytes(count)));
    }

    void deallocate(T* block, std::size_t count) { releaseCounted(block, bytes(count)); }

    template<typename U>
    bool operator==(const allocator<U>&) const {
        return true;
    }

private:
    static constexpr std::size_t bytes(std::size_t count) {
        return count * sizeof(T); // NOLINT(bugprone-sizeof-expression): T may be a pointer
    }
};

template<typename T>
using list = std::list<T, allocator<T>>;

template<typename T>
using vector = std::vector<T, allocator<T>>;

template<typename T>
using deque = std::deque<T, allocator<T>>;

template<typename Key, typename T>
using unordered_map = std::unordered_map<Key, T, std::hash<Key>, std::equal_to<Key>,
                                         allocator<std::pair<const Key, T>>>;

} // namespace qz

#endif

/* The allocator of the library's containers, and the count of what they hold. C++ only, for
 * programs built by the library's compiler.
 *
 * Blocks come from the process's default pool, the one behind the watch "Main pool", and are
 * counted by the watch "STL allocator". Containers with this allocator work as soon as the library
 * is there, in static initialisers too, and must be gone before it is unloaded.
 *
 * Threads: any; a block may be released by another thread than allocated it.
 */
#ifndef QZCORE_COMMON_ALLOCATOR_H
#define QZCORE_COMMON_ALLOCATOR_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <stdexcept>
#include <unordered_map>
#include <utility>
#include <vector>

namespace qz {

/* Count an allocation, before it is made, and a release, after it was made, of that many bytes.
 * For allocators and buffers that want to be seen in the watch; qz::allocator calls them itself. */
QZ_API void incSTLAllocatorCounter(std::uint64_t bytes);
QZ_API void decSTLAllocatorCounter(std::uint64_t bytes);

/* Bytes counted as allocated and not as released. */
QZ_API std::uint64_t getSTLAllocatorCounter();

/* A counted block of the default pool, aligned to 16 bytes, blocks of up to 8 bytes to 8. Throws
 * std::bad_alloc. It is released with the size that it was allocated with; null is ignored. */
QZ_API void* allocateCounted(std::size_t bytes);
QZ_API void releaseCounted(void* block, std::size_t bytes);

/* A standard allocator over the above. All allocators of this kind are equal. */
template<typename T>
class allocator {
public:
    using value_type = T;

    allocator() = default;

    template<typename U>
    allocator(const allocator<U>&) {}

    /* Throws std::length_error for more than an object may hold, whatever the container, and
     * std::bad_alloc. */
    T* allocate(std::size_t count) {
        static_assert(alignof(T) <= 16, "the pool aligns to 16 bytes");
        if (count > PTRDIFF_MAX / bytes(1)) {
            throw std::length_error("list<T> too long");
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

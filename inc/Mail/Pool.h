/* Pools of objects of one size, recycled instead of returned to the heap. C++ only, for programs
 * built by the library's compiler. */
#ifndef QZCORE_MAIL_POOL_H
#define QZCORE_MAIL_POOL_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Shared.h"
#include "Tasks/Sync.h"

#include <new>
#include <stdint.h>
#include <utility>

namespace Mem {

/* Items of one size, carved out of large blocks. The item freed last is handed out first. A block
 * lies between 64 KiB of address space on either side that may not be touched, so running past its
 * end faults at once.
 *
 * A pool grows up to 8192 blocks and gives them back when it is destroyed, not before. Every
 * function may be called from any thread. */
class Pool {
public:
    /* Items of `itemSize` bytes, at least 8, one right after the other: what alignment they have
     * follows from their size. A block is `itemsPerBlock` of them, rounded up to 128 KiB; if that
     * is nothing, or more than a size can say, the pool has no items to give. */
    QZ_API Pool(uint64_t itemSize, uint32_t itemsPerBlock);

    /* No item may be used any more. */
    QZ_API ~Pool();

    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    /* An item with undefined contents, or null if the pool is full or the system has no memory. */
    QZ_API void* alloc();

    /* Takes an item back; null is ignored. That it is this pool's and not free already is the
     * caller's business. */
    QZ_API void free(void* item);

private:
    void* pop();
    void* carve();
    bool grow();

    Sync::Futex lock_;
    void* freeList_ = nullptr; // the item freed last; each begins with the address of the next
    uint64_t itemSize_;
    unsigned char* cursor_ = nullptr;
    uint64_t remaining_ = 0;
    void** blocks_;
    uint64_t blockCount_ = 0;
    uint64_t maxBlocks_;
    uint64_t blockSize_;
};

/* The pool of one class. A class whose objects return to their pool by themselves says so with an
 * operator of its own, and descends from Mem::Shared:
 *
 *     class Order : public Mem::Shared {
 *         static void* operator new(size_t) = delete;
 *         static void operator delete(void* item) { pool.free(item); }
 *         ...
 *     Mem::Ptr<Order> order = pool.make(arguments);
 *
 * Blocks start at pages and items follow each other without a gap, so every item is aligned as T
 * asks for. */
template<class T>
class PoolOf : public Pool {
public:
    explicit PoolOf(uint32_t itemsPerBlock) : Pool(sizeof(T), itemsPerBlock) {}

    /* A new object, or null if the pool has no item to give. */
    template<class... Arguments>
    Ptr<T> make(Arguments&&... arguments) {
        void* const item = alloc();
        if (item == nullptr) {
            return nullptr;
        }
        try {
            return Ptr<T>(::new (item) T(std::forward<Arguments>(arguments)...));
        } catch (...) {
            free(item);
            throw;
        }
    }
};

} // namespace Mem

#endif

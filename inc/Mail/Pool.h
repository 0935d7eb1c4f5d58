/* Pools of objects of one size, which are reused instead of returned to the heap. C++ only, for
 * programs built by the library's compiler. */
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

/* Hands out items of one size, which are parts of large blocks. The item freed last is handed out
 * first. On either side of a block 64 KiB of address space are inaccessible, so an overrun faults
 * at once.
 *
 * A pool grows up to 8192 blocks, and frees them only when it is destroyed. Any thread may call its
 * functions. */
class Pool {
public:
    /* Items have `itemSize` bytes, at least 8, and follow each other without a gap, so their size
     * determines their alignment. A block holds `itemsPerBlock` items and is rounded up to a
     * multiple of 128 KiB. If itemsPerBlock is 0, or a block would be larger than a size_t can say,
     * alloc returns null. */
    QZ_API Pool(uint64_t itemSize, uint32_t itemsPerBlock);

    /* No item may be in use. */
    QZ_API ~Pool();

    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    /* Returns an item with undefined contents, or null if the pool is full or the system has no
     * memory. */
    QZ_API void* alloc();

    /* Takes an item back; null is ignored. The item must be from this pool, and not be free
     * already. */
    QZ_API void free(void* item);

private:
    void* pop();
    void* carve();
    bool grow();
    void check() const;
    bool isItem(const void* item) const;

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

/* The pool of one class. A class derived from Mem::Shared can have an operator delete that returns
 * its objects to their pool:
 *
 *     class Order : public Mem::Shared {
 *         static void* operator new(size_t) = delete;
 *         static void operator delete(void* item) { pool.free(item); }
 *         ...
 *     Mem::Ptr<Order> order = pool.make(arguments);
 *
 * Every item is aligned for T. */
template<class T>
class PoolOf : public Pool {
public:
    explicit PoolOf(uint32_t itemsPerBlock) : Pool(sizeof(T), itemsPerBlock) {}

    /* Returns a new object, or null if the pool has no item. */
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

/* The memory of messages: buffers of 1024 bytes, and chunks that refer to parts of them. C++ only,
 * for programs built by the library's compiler.
 *
 * A message is a chain of chunks. Taking a part of a chain makes new chunks over the same bytes and
 * copies no bytes. Buffers and chunks come from pools, so their memory is reused at once. If memory
 * runs out, the result is a null pointer.
 *
 * Any thread may hold and release chunks. No thread may change a chain while another reads it.
 */
#ifndef QZCORE_MAIL_CHUNK_H
#define QZCORE_MAIL_CHUNK_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Mail/Pool.h"
#include "Mail/Shared.h"

#include <stddef.h>
#include <stdint.h>

namespace Mail {

/* 1024 bytes of message data, uninitialised. */
class QZ_API Buffer : private Mem::Shared {
public:
    static constexpr uint64_t kCapacity = 1024;

    /* Returns a new buffer, or null if there is no memory. */
    static Mem::Ptr<Buffer> make();

    unsigned char* data() const { return data_; }
    unsigned char* end() const { return end_; }

    static void* operator new(size_t) = delete; /* only the pool makes them */
    static void operator delete(void* item);    // NOLINT(*-new-delete-overloads,cert-dcl54-cpp)

    /* Lives as long as the library. */
    static Mem::PoolOf<Buffer>& m_pool;

private:
    template<class>
    friend class Mem::Ptr;
    friend class Mem::PoolOf<Buffer>;

    Buffer();
    ~Buffer() override;

    unsigned char* data_;
    unsigned char* end_;
};

/* A range of a buffer's bytes, with a reference to the next chunk of its chain. */
class QZ_API Chunk : private Mem::Shared {
public:
    /* Returns a single chunk of uninitialised bytes to write to: at least 1, at most `n` and at
     * most 1024. Small requests of all threads get successive parts of one buffer. Null if n is 0.
     */
    static Mem::Ptr<Chunk> try_alloc(uint64_t n);

    /* Returns a chain of `n` uninitialised bytes. Null if n is 0 or too large. */
    static Mem::Ptr<Chunk> alloc(uint64_t n);

    /* The bytes of this chunk, without the chunks that follow it. */
    unsigned char* begin() const { return begin_; }
    unsigned char* end() const { return end_; }
    uint64_t size() const { return static_cast<uint64_t>(end_ - begin_); }

    const Mem::Ptr<Chunk>& next() const { return next_; }

    /* The number of bytes of the chain that starts with this chunk. */
    uint64_t totalSize() const;

    static void* operator new(size_t) = delete; /* only the pool makes them */
    static void operator delete(void* item);    // NOLINT(*-new-delete-overloads,cert-dcl54-cpp)

    /* Lives as long as the library. */
    static Mem::PoolOf<Chunk>& m_pool;

protected:
    Chunk(Mem::Ptr<Buffer> buffer, unsigned char* begin, unsigned char* end);
    ~Chunk() override;

    /* Return a part of this chunk as a new chunk: head its first `n` bytes, or all if it has fewer;
     * tail the bytes after those. Null if the part is empty, or there is no memory. */
    Mem::Ptr<Chunk> head(uint64_t n) const;
    Mem::Ptr<Chunk> tail(uint64_t n) const;

    /* The same for the chain that starts with this chunk; the result is the whole part or null. The
     * chunks behind the first one of rafter's result are shared with this chain. */
    Mem::Ptr<Chunk> rbefore(uint64_t n) const;
    Mem::Ptr<Chunk> rafter(uint64_t n) const;

private:
    template<class>
    friend class Mem::Ptr;
    friend class Mem::PoolOf<Chunk>;
    friend class ByteReader;
    friend class Chain;
    friend class FreshSpace;
    friend class SpareSpace;

    Mem::Ptr<Chunk> next_;
    Mem::Ptr<Buffer> buffer_;
    unsigned char* begin_;
    unsigned char* end_;
};

/* A chain that grows at its end. */
class QZ_API Chain {
public:
    Chain() = default;
    Chain(Chain&&) noexcept = default;
    Chain& operator=(Chain&&) noexcept = default;

    /* Appends the chain `chunks`, which may be null. This changes the last chunk of the chain so
     * far, which nobody else may be using, unless it belongs to a message that is being written. */
    void append(Mem::Ptr<Chunk> chunks);

    /* Removes the first chunk and detaches it from those that follow; null if there is none. Nobody
     * else may be using the chunks. */
    Mem::Ptr<Chunk> pop();

    /* Returns the whole chain and leaves this one empty. */
    Mem::Ptr<Chunk> take();

    const Mem::Ptr<Chunk>& first() const { return first_; }

private:
    Mem::Ptr<Chunk> first_;
    Chunk* last_ = nullptr; /* valid if first_ is set, which holds it */
};

} // namespace Mail

#endif

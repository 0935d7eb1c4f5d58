/* The memory of messages: buffers of 1024 bytes, and chunks that refer to parts of them. C++ only,
 * for programs built by the library's compiler.
 *
 * Chunks link up to chains, which is what messages consist of. Taking a part of a chain makes new
 * chunks over the same bytes and copies nothing. All of it comes from pools, so what is released is
 * used again at once; where memory runs out the result is a null pointer.
 *
 * Chunks may be held and released on any thread. A chain must not be changed by one thread while
 * another walks it.
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

    /* A new buffer. */
    static Mem::Ptr<Buffer> make();

    unsigned char* data() const { return data_; }
    unsigned char* end() const { return end_; }

    static void* operator new(size_t) = delete; /* they come from the pool alone */
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

/* A range of a buffer's bytes, and the chunk that follows it in its chain. */
class QZ_API Chunk : private Mem::Shared {
public:
    /* A single chunk of fresh bytes to write to: 1 to `n` of them, and never more than 1024. Small
     * requests from any thread get parts of one buffer, one after the other. Null if n is 0. */
    static Mem::Ptr<Chunk> try_alloc(uint64_t n);

    /* A chain of fresh bytes, `n` in all. Null if n is 0, or more than there can be memory for. */
    static Mem::Ptr<Chunk> alloc(uint64_t n);

    /* The bytes of this chunk alone. */
    unsigned char* begin() const { return begin_; }
    unsigned char* end() const { return end_; }
    uint64_t size() const { return static_cast<uint64_t>(end_ - begin_); }

    const Mem::Ptr<Chunk>& next() const { return next_; }

    /* The bytes of the chain that starts here. */
    uint64_t totalSize() const;

    static void* operator new(size_t) = delete; /* they come from the pool alone */
    static void operator delete(void* item);    // NOLINT(*-new-delete-overloads,cert-dcl54-cpp)

    /* Lives as long as the library. */
    static Mem::PoolOf<Chunk>& m_pool;

protected:
    Chunk(Mem::Ptr<Buffer> buffer, unsigned char* begin, unsigned char* end);
    ~Chunk() override;

    /* Parts of this chunk alone, as new chunks: its first `n` bytes, or all if it has fewer; and
     * what comes after them. Null if that is nothing, or there is no memory. */
    Mem::Ptr<Chunk> head(uint64_t n) const;
    Mem::Ptr<Chunk> tail(uint64_t n) const;

    /* The same for the chain that starts here: all of that part or null. What follows the first
     * chunk of rafter's result is shared with this chain. */
    Mem::Ptr<Chunk> rbefore(uint64_t n) const;
    Mem::Ptr<Chunk> rafter(uint64_t n) const;

private:
    template<class>
    friend class Mem::Ptr;
    friend class Mem::PoolOf<Chunk>;
    friend class ByteReader;
    friend class ByteWriter;
    friend class Chain;
    friend class Space;
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

    /* Links the chain `chunks`, which may be null, behind this one and changes its last chunk: that
     * has to be the caller's alone, or of a message that is being written. */
    void append(Mem::Ptr<Chunk> chunks);

    /* Takes the first chunk off and detaches it from those that follow; null if there is none. Only
     * for chunks that are the caller's alone. */
    Mem::Ptr<Chunk> pop();

    /* Takes the whole chain and leaves this one empty. */
    Mem::Ptr<Chunk> take();

    const Mem::Ptr<Chunk>& first() const { return first_; }

private:
    Mem::Ptr<Chunk> first_;
    Mem::Ptr<Chunk> last_;
};

} // namespace Mail

#endif

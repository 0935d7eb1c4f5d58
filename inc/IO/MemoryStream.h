/* Streams over memory, messages, and parts of other streams. C++ only, for programs built by the
 * library's compiler. */
#ifndef QZCORE_IO_MEMORYSTREAM_H
#define QZCORE_IO_MEMORYSTREAM_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "IO/Stream.h"
#include "Mail/Message.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace io {

/* Memory that the stream owns and that grows as it is written. It can be read and written. If
 * memory runs out, writing fails, and what was written before stays. */
class QZ_API MemoryStream : public Stream {
public:
    MemoryStream() = default;

    /* Begins with a copy of these bytes, at position 0. Throws std::bad_alloc. */
    MemoryStream(const void* data, std::size_t size);

    /* Begins with these bytes, without a copy, at position 0. */
    explicit MemoryStream(qz::vector<unsigned char> bytes);

    ~MemoryStream() override;

    /* Returns all bytes; the result is valid until the next call. */
    std::span<const unsigned char> bytes();

    /* Empties the stream and clears its error. The memory is kept for later writes. */
    void clear();

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    Window readWindow(std::uint64_t position, std::size_t wanted) override;
    Window writeWindow(std::uint64_t position, std::size_t wanted) override;
    bool keep(std::uint64_t position, const Window& window, std::size_t count) override;

private:
    qz::vector<unsigned char> room_; /* zero behind the bytes */
    std::uint64_t size_ = 0;
};

/* A block of memory that the caller owns, and that outlives the stream. Its size does not change:
 * writing beyond its end is an error. */
class QZ_API BlockStream : public Stream {
public:
    /* For reading and writing. */
    BlockStream(void* data, std::size_t size)
        : data_(static_cast<unsigned char*>(data)), size_(size), isWritable_(true) {}

    /* For reading. */
    BlockStream(const void* data, std::size_t size)
        : data_(static_cast<unsigned char*>(const_cast<void*>(data))), size_(size) {}

    ~BlockStream() override;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::size_t writeAt(std::uint64_t position, const void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    Window readWindow(std::uint64_t position, std::size_t wanted) override;
    Window writeWindow(std::uint64_t position, std::size_t wanted) override;

private:
    unsigned char* data_;
    std::size_t size_;
    bool isWritable_ = false;
};

/* A part of another stream: `size` bytes from `start` on, as a stream that begins at 0 and does not
 * grow beyond that. It is smaller while the other stream has fewer bytes. The other stream outlives
 * the part. Both may be used in turns; each access to the part moves the other stream's position.
 * An error of the other stream is an error of the part, too. */
class QZ_API PartStream : public Stream {
public:
    PartStream(Stream& whole, std::uint64_t start, std::uint64_t size);
    ~PartStream() override;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::size_t writeAt(std::uint64_t position, const void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    bool sync() override;

private:
    QZ_LOCAL std::size_t passOn(std::size_t done);

    Stream& whole_;
    std::uint64_t start_;
    std::uint64_t size_;
};

/* The bytes of a message. The stream reads the bytes that the message had when the stream was made.
 * Written bytes are appended to those that the message has when `flush` is called or the stream is
 * destroyed. If there is no memory, or the message would have more than Mail::Message::kMaxSize
 * bytes, none of them are appended, and that is an error. Positions within the message's own bytes
 * cannot be written. */
class QZ_API MessageStream : public MemoryStream {
public:
    /* Throws std::bad_alloc. The position is 0; to write, seek the end: `seek(size())`. */
    explicit MessageStream(const Mail::Message& message);
    ~MessageStream() override;

    void clear() = delete; /* what a message has stays */

protected:
    Window writeWindow(std::uint64_t position, std::size_t wanted) override;
    bool sync() override;

private:
    Mail::Message message_;
    std::uint64_t handedOn_; /* the number of bytes that are in the message */
};

} // namespace io

#endif

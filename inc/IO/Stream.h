/* Streams of bytes. Code that reads and writes a stream need not know whether it is a file, memory,
 * a message or a part of another stream. C++ only, for programs built by the library's compiler.
 *
 *     io::FileStream file("scores.bin", io::FileStream::Mode::kRead);
 *     std::uint32_t count = 0;
 *     if (file.read(&count, sizeof count) != sizeof count) {
 *         qz_log("GAME", QZ_LOG_ERROR, file.getError());
 *     }
 *
 * A stream has one position, which both reading and writing use and advance. Small reads and writes
 * are fast: most of them are inline copies.
 *
 * Nothing throws. A stream keeps its first error with its text, and reads and writes nothing until
 * clearError; so a function may do all its reads and ask once at the end. The end of the bytes is
 * not an error: fewer bytes are read than were asked for.
 *
 * IO/FileStream.h, IO/MemoryStream.h and IO/Adapters.h have the kinds of streams. For another kind,
 * derive from Stream or, if small accesses are expensive, from BufferedStream.
 *
 * Threads: a stream is for one thread at a time, together with the file or object that it reads or
 * writes.
 */
#ifndef QZCORE_IO_STREAM_H
#define QZCORE_IO_STREAM_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>

namespace io {

class QZ_API Stream {
public:
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /* Written bytes that were not flushed are lost, unless the class says otherwise. */
    virtual ~Stream();

    /* Copies up to `count` bytes from the position on and returns their number. Fewer than `count`
     * mean the end or an error; `isGood` tells which. */
    std::size_t read(void* data, std::size_t count) {
        // A count of 0 goes the long way: there may be no pointers to copy from or to.
        if (count - 1 < static_cast<std::size_t>(readEnd_ - read_)) {
            std::memcpy(data, read_, count);
            read_ += count;
            return count;
        }
        return readOn(data, count);
    }

    /* Writes `count` bytes at the position, overwriting or appending, and returns their number,
     * which is smaller than `count` only after an error. If the position is behind the end, the
     * bytes between become zero. */
    std::size_t write(const void* data, std::size_t count) {
        if (count - 1 < static_cast<std::size_t>(writeEnd_ - write_)) {
            std::memcpy(write_, data, count);
            write_ += count;
            return count;
        }
        return writeOn(data, count);
    }

    /* Moves the position, in bytes from the start, up to 2^63 - 1; it may be behind the end.
     * Returns false, with an error, if the stream cannot go there. */
    bool seek(std::uint64_t position);

    std::uint64_t tell() const {
        return origin_ +
               static_cast<std::uint64_t>(isWriting() ? write_ - window_ : read_ - window_);
    }

    /* Returns the number of bytes, including those just written; 0 after an error, and if the size
     * is unknown, as with a std::istream over a pipe. */
    std::uint64_t size();

    /* Passes written bytes on to the system or object behind the stream. Returns false after an
     * error. */
    bool flush();

    bool isGood() const { return error_[0] == 0; }

    /* Returns the first error as one line; empty if there was none. */
    const char* getError() const { return error_; }

    /* Clears the error; the position is where it happened. Bytes that could not be written then are
     * lost. */
    void clearError() { error_[0] = 0; }

protected:
    Stream() { error_[0] = 0; }

    /* A piece of memory that stands for the bytes from a position on. */
    struct Window {
        unsigned char* begin = nullptr;
        std::size_t size = 0;
    };

    /* The functions that a kind of stream overrides. A function that fails calls `fail` and returns
     * 0 or false; none may throw. */

    /* Reads up to `count` bytes, not 0, from a position, all that exist unless there is an error.
     * The base fails. */
    virtual std::size_t readAt(std::uint64_t position, void* data, std::size_t count);

    /* Writes `count` bytes, not 0, at a position, all of them unless there is an error. The base
     * fails. */
    virtual std::size_t writeAt(std::uint64_t position, const void* data, std::size_t count);

    virtual std::uint64_t sizeNow() = 0;

    /* Passes on what `writeAt` and `keep` took. The base does nothing. */
    virtual bool sync();

    /* Returns whether the stream can go to a position. The base returns true. */
    virtual bool canSeek(std::uint64_t position);

    /* Returns memory that holds the bytes from a position on, as many as are there at once; of size
     * 0 if there are none, or if `readAt` is better for `wanted` bytes. It is valid until the next
     * call of any of these functions. The base returns size 0. */
    virtual Window readWindow(std::uint64_t position, std::size_t wanted);

    /* Returns memory for the bytes to be written from a position on; of size 0 if `writeAt` is
     * better for `wanted` bytes. It is valid until the next call of any of these functions, which
     * is `keep` if anything was written there. The base returns size 0. */
    virtual Window writeWindow(std::uint64_t position, std::size_t wanted);

    /* Takes the first `count` bytes of the last window, which were written. */
    virtual bool keep(std::uint64_t position, const Window& window, std::size_t count);

    /* Stores an error, if it is the first, cut to 255 bytes: `what` and, if given, the object.
     * Returns false. */
    bool fail(const char* what, const char* whom = "");

    /* Returns whether anything has failed since `forgetErrors`, even if clearError was called. */
    bool hasFailed() const { return hasFailed_; }
    void forgetErrors() {
        clearError();
        hasFailed_ = false;
    }

    /* Gives up the window, after `keep` if anything was written to it. Derived classes call it
     * before they touch the bytes of the window. */
    bool settle();

private:
    bool isWriting() const { return writeEnd_ != nullptr; }
    QZ_LOCAL void dropWindow(std::uint64_t position);
    std::size_t readOn(void* data, std::size_t count);
    std::size_t writeOn(const void* data, std::size_t count);
    QZ_LOCAL std::size_t readPiece(unsigned char* data, std::size_t count);
    QZ_LOCAL std::size_t writePiece(const unsigned char* data, std::size_t count);

    /* At most one of the two pairs is set. */
    unsigned char* read_ = nullptr;
    unsigned char* readEnd_ = nullptr;
    unsigned char* write_ = nullptr;
    unsigned char* writeEnd_ = nullptr;

    unsigned char* window_ = nullptr; /* where the window begins */
    std::uint64_t origin_ = 0; /* the position of its first byte; without one, the position */
    bool hasFailed_ = false;
    char error_[256];
};

/* A stream whose `readAt` and `writeAt` are expensive. Small accesses go through a buffer of 16
 * KiB; those of 4 KiB and more may go past it.
 *
 * If others change the file or object while it is read, the stream may not see the change. The
 * destructor of a derived class calls `flush`. */
class QZ_API BufferedStream : public Stream {
public:
    ~BufferedStream() override;

protected:
    BufferedStream() = default;

    /* Returns whether the stream can be written; if not, `write` fails at once. The base returns
     * false. */
    virtual bool isWritable() const;

    Window readWindow(std::uint64_t position, std::size_t wanted) override;
    Window writeWindow(std::uint64_t position, std::size_t wanted) override;
    bool keep(std::uint64_t position, const Window& window, std::size_t count) override;

private:
    QZ_LOCAL bool makeBuffer();

    std::unique_ptr<unsigned char[]> buffer_;
};

/* Replaces `bytes` by everything from the position to the end. Returns false after an error or if
 * memory runs out; `bytes` then has what was read before. */
QZ_API bool readRest(Stream& stream, std::string& bytes);

} // namespace io

#endif

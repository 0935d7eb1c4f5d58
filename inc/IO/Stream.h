/* Bytes one after the other, wherever they are: what reads and writes them need not know whether
 * they are a file, memory, a message or a part of another stream. C++ only, for programs built by
 * the library's compiler.
 *
 *     io::FileStream file("scores.bin", io::FileStream::Mode::kRead);
 *     std::uint32_t count = 0;
 *     if (file.read(&count, sizeof count) != sizeof count) {
 *         qz_log("GAME", QZ_LOG_ERROR, file.getError());
 *     }
 *
 * A stream has one position, at which it reads and writes and which moves on by as much. Small
 * reads and writes cost little: most of them are a copy in memory, without a call.
 *
 * Nothing throws. The first error stays, with its text: from then on the stream reads and writes
 * nothing, until clearError. So a function may do all its reads and ask once at the end. The end of
 * the bytes is no error: fewer bytes are read than were asked for.
 *
 * IO/FileStream.h, IO/MemoryStream.h and IO/Adapters.h have the streams there are. For another kind
 * derive from Stream or, if small accesses are expensive, from BufferedStream.
 *
 * Threads: a stream belongs to one thread at a time, and so does what it is over.
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

    /* What was written and not yet handed on is lost, if the class does not say otherwise. */
    virtual ~Stream();

    /* Copies up to `count` bytes from the position on and returns how many. Fewer mean the end, or
     * an error; `isGood` tells which. */
    std::size_t read(void* data, std::size_t count) {
        // A count of 0 goes the long way: there may be no pointers to copy from or to.
        if (count - 1 < static_cast<std::size_t>(readEnd_ - read_)) {
            std::memcpy(data, read_, count);
            read_ += count;
            return count;
        }
        return readOn(data, count);
    }

    /* Puts `count` bytes at the position, over what is there or behind it, and returns how many it
     * took: fewer only with an error. What lies between the end and a position behind it becomes
     * zero. */
    std::size_t write(const void* data, std::size_t count) {
        if (count - 1 < static_cast<std::size_t>(writeEnd_ - write_)) {
            std::memcpy(write_, data, count);
            write_ += count;
            return count;
        }
        return writeOn(data, count);
    }

    /* Moves the position to so many bytes from the start, up to 2^63 - 1; behind the end is
     * allowed. False, with an error, if the stream cannot go there. */
    bool seek(std::uint64_t position);

    std::uint64_t tell() const {
        return origin_ +
               static_cast<std::uint64_t>(isWriting() ? write_ - window_ : read_ - window_);
    }

    /* How many bytes there are, with those just written. 0 after an error, and where nobody knows,
     * as with a std::istream over a pipe. */
    std::uint64_t size();

    /* Hands on what was written, to the system or whatever the stream is over. False after an
     * error. */
    bool flush();

    bool isGood() const { return error_[0] == 0; }

    /* What went wrong first, in one line; empty if nothing did. */
    const char* getError() const { return error_; }

    /* Goes on after an error, at the position where it happened. What could not be written then is
     * lost. */
    void clearError() { error_[0] = 0; }

protected:
    Stream() { error_[0] = 0; }

    /* A piece of memory that stands for the bytes from a position on. */
    struct Window {
        unsigned char* begin = nullptr;
        std::size_t size = 0;
    };

    /* What a kind of stream does. Whoever cannot do what it is asked calls `fail` and returns 0 or
     * false; none of these may throw. */

    /* Reads up to `count` bytes, not 0, from a position; fewer than there are only with an error.
     * The base fails. */
    virtual std::size_t readAt(std::uint64_t position, void* data, std::size_t count);

    /* Writes `count` bytes, not 0, at a position; fewer only with an error. The base fails. */
    virtual std::size_t writeAt(std::uint64_t position, const void* data, std::size_t count);

    virtual std::uint64_t sizeNow() = 0;

    /* Hands on what `writeAt` and `keep` took. The base has nothing to do. */
    virtual bool sync();

    /* Whether there is a way to a position. The base says yes. */
    virtual bool canSeek(std::uint64_t position);

    /* The bytes from a position on in memory, as many as are there at once; of no size if there are
     * none, or if `wanted` bytes are better read by `readAt`. They stay where they are until the
     * next call of any of these functions. The base has none. */
    virtual Window readWindow(std::uint64_t position, std::size_t wanted);

    /* Memory for the bytes that are to be written from a position on; of no size if `wanted` bytes
     * are better written by `writeAt`. It stays where it is until the next call of any of these
     * functions: that is `keep` if anything was written there. The base has none. */
    virtual Window writeWindow(std::uint64_t position, std::size_t wanted);

    /* Takes the bytes that were written to the last window: the first `count` of it. */
    virtual bool keep(std::uint64_t position, const Window& window, std::size_t count);

    /* Stores the first error, cut to 255 bytes: `what` and, if given, what it happened to. Returns
     * false. */
    bool fail(const char* what, const char* whom = "");

    /* Whether anything has failed, even if clearError was called since; until `forgetErrors`. */
    bool hasFailed() const { return hasFailed_; }
    void forgetErrors() {
        clearError();
        hasFailed_ = false;
    }

    /* Lets go of the window: what was written to it is kept. Derived classes call it before they
     * touch what the window stands for. */
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

/* A stream whose `readAt` and `writeAt` are expensive: they are called for 16 KiB and more at a
 * time, or fewer at the end.
 *
 * What it is over must not be changed by others while it is read, or what they write may not be
 * seen. A derived class hands on what was written before it is destroyed: by `flush`. */
class QZ_API BufferedStream : public Stream {
public:
    ~BufferedStream() override;

protected:
    BufferedStream() = default;

    /* Whether `writeAt` is worth a try; if not, `write` fails at once. The base says no. */
    virtual bool isWritable() const;

    Window readWindow(std::uint64_t position, std::size_t wanted) override;
    Window writeWindow(std::uint64_t position, std::size_t wanted) override;
    bool keep(std::uint64_t position, const Window& window, std::size_t count) override;

private:
    QZ_LOCAL bool makeBuffer();

    std::unique_ptr<unsigned char[]> buffer_;
};

/* Reads everything from the position to the end, in place of what `bytes` had. False if there was
 * an error, memory running out among them; then `bytes` has what was read until then. */
QZ_API bool readRest(Stream& stream, std::string& bytes);

} // namespace io

#endif

/* Adapters between the streams of this library and those of C++, in both directions. C++ only, for
 * programs built by the library's compiler.
 *
 *     io::FileStream file("options.lua", io::FileStream::Mode::kReplace);
 *     io::StreamBuffer buffer(file);
 *     std::ostream out(&buffer);
 *     out << text;
 *     if (!out || !file.close()) { ... }
 */
#ifndef QZCORE_IO_ADAPTERS_H
#define QZCORE_IO_ADAPTERS_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "IO/Stream.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <streambuf>

namespace io {

/* A std::istream as a stream. Positions are those of the std::istream's buffer. The stream has no
 * buffer of its own, so both may be used in turns: each goes on where the other has stopped. `tell`
 * does not count what went past this stream; seek sets that right. Files that Windows opened in
 * text mode are read and written well, but their positions are not those of the bytes.
 *
 * A std::istream that cannot seek, for example a pipe, is read from where it is; then positions
 * count from 0, and the size is unknown. */
class QZ_API StdInputStream final : public Stream {
public:
    /* The std::istream outlives this stream. Its state bits do not change: only this stream tells
     * the end and errors. */
    explicit StdInputStream(std::istream& in);
    ~StdInputStream() override;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    bool canSeek(std::uint64_t position) override;

private:
    std::istream& in_;
    bool isSeekable_ = false;
    bool isSought_ = false;        /* the next access goes to another position */
    std::uint64_t inPosition_ = 0; /* if it cannot seek */
};

/* A std::ostream as a stream, with the rules of StdInputStream. */
class QZ_API StdOutputStream final : public Stream {
public:
    explicit StdOutputStream(std::ostream& out);
    ~StdOutputStream() override;

protected:
    std::size_t writeAt(std::uint64_t position, const void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    bool sync() override;
    bool canSeek(std::uint64_t position) override;

private:
    std::ostream& out_;
    bool isSeekable_ = false;
    bool isSought_ = false;
    std::uint64_t outPosition_ = 0;
};

/* A stream as the buffer of a std::istream or std::ostream, whose constructor takes its address. It
 * buffers at most one character, which was peeked at, and keeps the one before, to be put back:
 * after reading call std::istream::sync before you use the stream itself again. An error sets the
 * C++ stream's bad or fail bit, and the stream has its text. Nothing throws, unless the C++ stream
 * was told to. */
class QZ_API StreamBuffer final : public std::streambuf {
public:
    /* The stream outlives the buffer. */
    explicit StreamBuffer(Stream& stream) : stream_(stream) {}
    ~StreamBuffer() override;

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* data, std::streamsize count) override;
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* data, std::streamsize count) override;
    pos_type seekoff(off_type offset, std::ios_base::seekdir from,
                     std::ios_base::openmode which) override;
    pos_type seekpos(pos_type position, std::ios_base::openmode which) override;
    int sync() override;

private:
    QZ_LOCAL std::size_t ahead() const; /* characters in the get area that were not read */
    QZ_LOCAL std::uint64_t position() const;
    QZ_LOCAL bool leaveNext();

    Stream& stream_;
    char area_[2] = {}; /* the character read last, and the one that was peeked at */
};

} // namespace io

#endif

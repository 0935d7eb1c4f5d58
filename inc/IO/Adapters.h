/* Between the streams of this library and those of C++, in both directions. C++ only, for programs
 * built by the library's compiler.
 *
 *     io::FileStream file("options.lua", io::FileStream::Mode::kReplace);
 *     io::StreamBuffer buffer(file);
 *     std::ostream out(&buffer);
 *     Lua::Serializer(out).serialize(state, "options");
 *     if (!file.close()) { ... }
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

/* A std::istream as a stream. Positions are those of the std::istream's buffer. The stream reads
 * that buffer and has none of its own, so both may be used in turns. A std::istream that cannot
 * seek, a pipe for instance, is read from where it is; its positions count from 0 then, and its
 * size is not known. */
class QZ_API StdInputStream final : public Stream {
public:
    /* The other stream outlives this one. Its state bits stay as they are: the end and errors are
     * this stream's to tell. */
    explicit StdInputStream(std::istream& in);
    ~StdInputStream() override;

protected:
    std::size_t readAt(std::uint64_t position, void* data, std::size_t count) override;
    std::uint64_t sizeNow() override;
    bool canSeek(std::uint64_t position) override;

private:
    std::istream& in_;
    bool isSeekable_ = false;
    std::uint64_t inPosition_ = 0; /* of one that cannot seek */
};

/* A std::ostream as a stream, under the same rules. */
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
    std::uint64_t outPosition_ = 0;
};

/* A stream as the buffer of a std::istream or std::ostream: give its address to their constructors.
 * It keeps no more than one character, one that was looked at and not taken: after reading call
 * std::istream::sync before the stream itself is used again. What goes wrong sets the C++ stream's
 * bad or fail bit, and the stream has the text. Nothing throws, unless the C++ stream was told to.
 */
class QZ_API StreamBuffer final : public std::streambuf {
public:
    /* The stream outlives it. */
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
    QZ_LOCAL std::uint64_t position() const;
    QZ_LOCAL bool leaveNext();

    Stream& stream_;
    char next_ = 0; /* one that was looked at, in the get area as long as it is not taken */
};

} // namespace io

#endif

#include "IO/Adapters.h"

#include <algorithm>
#include <istream>
#include <limits>
#include <ostream>

namespace io {

namespace {

using Mode = std::ios_base::openmode;

constexpr char kBadInput[] = "the std::istream is not good";
constexpr char kBadOutput[] = "the std::ostream is not good";

// The buffer of a C++ stream may throw to report an error.
template<class Call>
auto attempt(Call call, decltype(call()) failure) {
    try {
        return call();
    } catch (...) {
        return failure;
    }
}

// Negative if the buffer cannot seek.
std::streamoff tellOf(std::streambuf& buffer, Mode which) {
    return attempt([&] { return std::streamoff(buffer.pubseekoff(0, std::ios::cur, which)); }, -1);
}

bool goTo(std::streambuf& buffer, std::uint64_t position, Mode which) {
    const auto there = static_cast<std::streamoff>(position);
    return attempt([&] { return std::streamoff(buffer.pubseekpos(there, which)) == there; }, false);
}

std::uint64_t sizeOf(std::streambuf& buffer, Mode which) {
    const std::streamoff here = tellOf(buffer, which);
    const std::streamoff size =
        attempt([&] { return std::streamoff(buffer.pubseekoff(0, std::ios::end, which)); }, -1);
    return here >= 0 && size >= 0 && goTo(buffer, static_cast<std::uint64_t>(here), which)
               ? static_cast<std::uint64_t>(size)
               : 0;
}

} // namespace

StdInputStream::StdInputStream(std::istream& in) : in_(in) {
    if (in.rdbuf() == nullptr || !in) {
        fail(kBadInput);
        return;
    }
    const std::streamoff position = tellOf(*in.rdbuf(), std::ios::in);
    isSeekable_ = position >= 0;
    inPosition_ = isSeekable_ ? static_cast<std::uint64_t>(position) : 0;
    seek(inPosition_);
    isSought_ = false;
}

StdInputStream::~StdInputStream() = default;

std::size_t StdInputStream::readAt(std::uint64_t position, void* data, std::size_t count) {
    if (in_.rdbuf() == nullptr) {
        fail(kBadInput);
        return 0;
    }
    std::streambuf& buffer = *in_.rdbuf();
    if (isSought_ && !goTo(buffer, position, std::ios::in)) {
        return 0; // the position is past the end, and this buffer cannot seek there
    }
    isSought_ = false;
    const auto wanted = static_cast<std::streamsize>(count);
    const std::streamsize done =
        attempt([&] { return buffer.sgetn(static_cast<char*>(data), wanted); }, -1);
    const bool wasClosed = done == 0 && isSeekable_ && tellOf(buffer, std::ios::in) < 0;
    if (done < 0 || wasClosed) {
        fail("can't read the std::istream");
        return 0;
    }
    inPosition_ = position + static_cast<std::uint64_t>(done);
    return static_cast<std::size_t>(done);
}

std::uint64_t StdInputStream::sizeNow() {
    return isSeekable_ && in_.rdbuf() != nullptr ? sizeOf(*in_.rdbuf(), std::ios::in) : 0;
}

bool StdInputStream::canSeek(std::uint64_t position) {
    isSought_ = isSeekable_;
    return isSeekable_ || position == inPosition_ || fail("this std::istream cannot seek");
}

StdOutputStream::StdOutputStream(std::ostream& out) : out_(out) {
    if (out.rdbuf() == nullptr || !out) {
        fail(kBadOutput);
        return;
    }
    const std::streamoff position = tellOf(*out.rdbuf(), std::ios::out);
    isSeekable_ = position >= 0;
    outPosition_ = isSeekable_ ? static_cast<std::uint64_t>(position) : 0;
    seek(outPosition_);
    isSought_ = false;
}

StdOutputStream::~StdOutputStream() = default;

std::size_t StdOutputStream::writeAt(std::uint64_t position, const void* data, std::size_t count) {
    if (out_.rdbuf() == nullptr) {
        fail(kBadOutput);
        return 0;
    }
    std::streambuf& buffer = *out_.rdbuf();
    if (isSought_ && !goTo(buffer, position, std::ios::out)) {
        fail("this std::ostream cannot go there");
        return 0;
    }
    isSought_ = false;
    const auto wanted = static_cast<std::streamsize>(count);
    const std::streamsize done =
        attempt([&] { return buffer.sputn(static_cast<const char*>(data), wanted); }, 0);
    outPosition_ = position + static_cast<std::uint64_t>(done);
    if (done < wanted) {
        fail("can't write to the std::ostream");
    }
    return static_cast<std::size_t>(done);
}

std::uint64_t StdOutputStream::sizeNow() {
    return isSeekable_ && out_.rdbuf() != nullptr ? sizeOf(*out_.rdbuf(), std::ios::out) : 0;
}

bool StdOutputStream::sync() {
    if (out_.rdbuf() == nullptr) {
        return fail(kBadOutput);
    }
    return attempt([&] { return out_.rdbuf()->pubsync() == 0; }, false) ||
           fail("can't write to the std::ostream");
}

bool StdOutputStream::canSeek(std::uint64_t position) {
    isSought_ = isSeekable_;
    return isSeekable_ || position == outPosition_ || fail("this std::ostream cannot seek");
}

StreamBuffer::~StreamBuffer() = default;

StreamBuffer::int_type StreamBuffer::underflow() {
    if (gptr() < egptr()) {
        return traits_type::to_int_type(*gptr());
    }
    const bool hasLast = gptr() != nullptr;
    const char last = hasLast ? *(gptr() - 1) : '\0';
    if (stream_.read(&area_[1], 1) == 0) {
        return traits_type::eof();
    }
    area_[0] = last;
    setg(hasLast ? &area_[0] : &area_[1], &area_[1], area_ + 2);
    return traits_type::to_int_type(area_[1]);
}

std::streamsize StreamBuffer::xsgetn(char* data, std::streamsize count) {
    if (count <= 0) {
        return 0;
    }
    const auto wanted = static_cast<std::size_t>(count);
    const std::size_t taken = std::min(wanted, ahead());
    std::copy_n(gptr(), taken, data);
    gbump(static_cast<int>(taken));
    const std::size_t done =
        taken < wanted ? taken + stream_.read(data + taken, wanted - taken) : taken;
    if (done > taken) {
        area_[0] = data[done - 1];
        setg(&area_[0], &area_[1], &area_[1]); // so that the last byte can be put back
    }
    return static_cast<std::streamsize>(done);
}

StreamBuffer::int_type StreamBuffer::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) {
        return traits_type::not_eof(character);
    }
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

std::streamsize StreamBuffer::xsputn(const char* data, std::streamsize count) {
    if (count <= 0 || !leaveNext()) {
        return 0;
    }
    return static_cast<std::streamsize>(stream_.write(data, static_cast<std::size_t>(count)));
}

StreamBuffer::pos_type StreamBuffer::seekoff(off_type offset, std::ios_base::seekdir from,
                                             std::ios_base::openmode which) {
    const std::uint64_t begin = from == std::ios::cur   ? position()
                                : from == std::ios::end ? stream_.size()
                                                        : 0;
    constexpr off_type kLast = std::numeric_limits<off_type>::max();
    const auto start = static_cast<off_type>(std::min<std::uint64_t>(begin, kLast));
    return offset > kLast - start ? pos_type(off_type(-1)) : seekpos(start + offset, which);
}

StreamBuffer::pos_type StreamBuffer::seekpos(pos_type position, std::ios_base::openmode /*which*/) {
    const off_type there = position;
    const bool isThere = there >= 0 && (static_cast<std::uint64_t>(there) == this->position()
                                            ? stream_.isGood()
                                            : stream_.seek(static_cast<std::uint64_t>(there)));
    if (isThere && static_cast<std::uint64_t>(there) == stream_.tell()) {
        setg(nullptr, nullptr, nullptr);
    }
    return isThere ? position : pos_type(off_type(-1));
}

int StreamBuffer::sync() {
    return leaveNext() && stream_.flush() ? 0 : -1;
}

std::size_t StreamBuffer::ahead() const {
    return static_cast<std::size_t>(egptr() - gptr());
}

std::uint64_t StreamBuffer::position() const {
    return stream_.tell() - ahead();
}

// Gives back to the stream what was looked at but not taken.
bool StreamBuffer::leaveNext() {
    const std::size_t left = ahead();
    setg(nullptr, nullptr, nullptr);
    return left == 0 || stream_.seek(stream_.tell() - left);
}

} // namespace io

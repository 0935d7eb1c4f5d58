#include "IO/Stream.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>

namespace io {

namespace {

constexpr std::uint64_t kLastPosition = std::numeric_limits<std::int64_t>::max();

// Calls `move(done)`, which moves one piece and returns its size, until `count` bytes have been
// moved or a piece is empty.
template<class Move>
std::size_t moveInPieces(std::size_t count, Move move) {
    std::size_t done = 0;
    for (std::size_t piece = 1; piece != 0 && done < count; done += piece) {
        piece = move(done);
    }
    return done;
}

} // namespace

Stream::~Stream() = default;

bool Stream::seek(std::uint64_t position) {
    if (!isGood()) {
        return false;
    }
    if (isWriting() && position == tell()) {
        return true; // what was written may stay in the buffer
    }
    if (!isWriting() && position >= origin_ &&
        position - origin_ < static_cast<std::uint64_t>(readEnd_ - window_)) {
        read_ = window_ + (position - origin_);
        return true;
    }
    if (!settle()) {
        return false;
    }
    if (position > kLastPosition) {
        return fail("there is no such position");
    }
    if (!canSeek(position)) {
        return false;
    }
    dropWindow(position);
    return true;
}

std::uint64_t Stream::size() {
    if (isWriting()) {
        settle();
    }
    return isGood() ? sizeNow() : 0;
}

bool Stream::flush() {
    return settle() && sync();
}

std::size_t Stream::readAt(std::uint64_t /*position*/, void* /*data*/, std::size_t /*count*/) {
    fail("this stream cannot be read");
    return 0;
}

std::size_t Stream::writeAt(std::uint64_t /*position*/, const void* /*data*/,
                            std::size_t /*count*/) {
    fail("this stream cannot be written to");
    return 0;
}

bool Stream::sync() {
    return true;
}

bool Stream::canSeek(std::uint64_t /*position*/) {
    return true;
}

Stream::Window Stream::readWindow(std::uint64_t /*position*/, std::size_t /*wanted*/) {
    return {};
}

Stream::Window Stream::writeWindow(std::uint64_t /*position*/, std::size_t /*wanted*/) {
    return {};
}

bool Stream::keep(std::uint64_t /*position*/, const Window& /*window*/, std::size_t /*count*/) {
    return true;
}

bool Stream::fail(const char* what, const char* whom) {
    if (isGood()) {
        std::snprintf(error_, sizeof error_, *whom == 0 ? "%s" : "%s: %s", what, whom);
    }
    hasFailed_ = true;
    dropWindow(tell());
    return false;
}

bool Stream::settle() {
    if (!isGood()) {
        return false;
    }
    const std::uint64_t position = tell();
    const std::uint64_t origin = origin_;
    const Window window{window_, static_cast<std::size_t>(isWriting() ? writeEnd_ - window_ : 0)};
    const auto written = static_cast<std::size_t>(isWriting() ? write_ - window_ : 0);
    dropWindow(position);
    return written == 0 || keep(origin, window, written);
}

void Stream::dropWindow(std::uint64_t position) {
    origin_ = position;
    window_ = read_ = readEnd_ = write_ = writeEnd_ = nullptr;
}

std::size_t Stream::readOn(void* data, std::size_t count) {
    if (isWriting() && !settle()) {
        return 0;
    }
    auto* const bytes = static_cast<unsigned char*>(data);
    return moveInPieces(count, [&](std::size_t done) {
        return isGood() ? readPiece(bytes + done, count - done) : 0;
    });
}

// Reads from the window, from a new window, or by readAt if there is none.
std::size_t Stream::readPiece(unsigned char* data, std::size_t count) {
    if (read_ == readEnd_) {
        dropWindow(tell());
        const Window window = readWindow(origin_, count);
        if (window.size == 0 || !isGood()) {
            const std::size_t done = isGood() ? readAt(origin_, data, count) : 0;
            origin_ += done;
            return done;
        }
        window_ = read_ = window.begin;
        readEnd_ = window.begin + window.size;
    }
    const std::size_t done = std::min(count, static_cast<std::size_t>(readEnd_ - read_));
    std::memcpy(data, read_, done);
    read_ += done;
    return done;
}

std::size_t Stream::writeOn(const void* data, std::size_t count) {
    if (!isWriting() && !settle()) {
        return 0;
    }
    if (count > kLastPosition - std::min(tell(), kLastPosition)) {
        if (settle()) { // keeps what was written before
            fail("there is no such position");
        }
        return 0;
    }
    const auto* const bytes = static_cast<const unsigned char*>(data);
    return moveInPieces(count, [&](std::size_t done) {
        return isGood() ? writePiece(bytes + done, count - done) : 0;
    });
}

std::size_t Stream::writePiece(const unsigned char* data, std::size_t count) {
    if (write_ == writeEnd_) {
        if (!settle()) {
            return 0;
        }
        const Window window = writeWindow(origin_, count);
        if (window.size == 0 || !isGood()) {
            const std::size_t done = isGood() ? writeAt(origin_, data, count) : 0;
            origin_ += done;
            return done;
        }
        window_ = write_ = window.begin;
        writeEnd_ = window.begin + window.size;
    }
    const std::size_t done = std::min(count, static_cast<std::size_t>(writeEnd_ - write_));
    std::memcpy(write_, data, done);
    write_ += done;
    return done;
}

// Asks for one byte more than the stream should hold, so that the first read also finds the end.
bool readRest(Stream& stream, std::string& bytes) {
    constexpr std::size_t kPiece = std::size_t{64} * 1024;
    const std::uint64_t position = stream.tell();
    const std::uint64_t size = stream.size();
    std::size_t wanted = size > position ? size - position + 1 : kPiece;
    std::size_t done = 0;
    try {
        bytes.clear();
        for (bool isEnd = false; !isEnd;) {
            bytes.resize(done + wanted);
            const std::size_t read = stream.read(bytes.data() + done, wanted);
            isEnd = read < wanted;
            done += read;
            wanted = kPiece;
        }
    } catch (const std::exception&) {
        bytes.resize(done);
        return false;
    }
    bytes.resize(done);
    return stream.isGood();
}

} // namespace io

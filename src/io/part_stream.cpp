#include "IO/MemoryStream.h"

#include <algorithm>
#include <limits>

namespace io {

namespace {

constexpr std::uint64_t kLastPosition = std::numeric_limits<std::int64_t>::max();

} // namespace

PartStream::PartStream(Stream& whole, std::uint64_t start, std::uint64_t size)
    : whole_(whole)
    , start_(std::min(start, kLastPosition))
    , size_(std::min(size, kLastPosition - start_)) {}

PartStream::~PartStream() = default;

std::size_t PartStream::readAt(std::uint64_t position, void* data, std::size_t count) {
    if (position >= size_ || !whole_.seek(start_ + position)) {
        return passOn(0);
    }
    count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - position));
    return passOn(whole_.read(data, count));
}

std::size_t PartStream::writeAt(std::uint64_t position, const void* data, std::size_t count) {
    if (position > size_ || count > size_ - position) {
        fail("the part of the stream is full");
        return 0;
    }
    return passOn(whole_.seek(start_ + position) ? whole_.write(data, count) : 0);
}

std::uint64_t PartStream::sizeNow() {
    const std::uint64_t end = whole_.size();
    passOn(0);
    return end > start_ ? std::min(size_, end - start_) : 0;
}

bool PartStream::sync() {
    whole_.flush();
    passOn(0);
    return isGood();
}

// Takes over an error of the whole stream.
std::size_t PartStream::passOn(std::size_t done) {
    if (!whole_.isGood()) {
        fail(whole_.getError());
    }
    return done;
}

} // namespace io

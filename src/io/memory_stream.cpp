#include "IO/MemoryStream.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace io {

MemoryStream::MemoryStream(const void* data, std::size_t size)
    : MemoryStream(qz::vector<unsigned char>(static_cast<const unsigned char*>(data),
                                             static_cast<const unsigned char*>(data) + size)) {}

MemoryStream::MemoryStream(qz::vector<unsigned char> bytes)
    : room_(std::move(bytes)), size_(room_.size()) {}

MemoryStream::~MemoryStream() = default;

std::span<const unsigned char> MemoryStream::bytes() {
    settle();
    return {room_.data(), static_cast<std::size_t>(size_)};
}

void MemoryStream::clear() {
    settle();
    clearError();
    room_.clear();
    size_ = 0;
    seek(0);
}

std::size_t MemoryStream::readAt(std::uint64_t /*position*/, void* /*data*/,
                                 std::size_t /*count*/) {
    return 0; // readWindow offers all bytes there are
}

std::uint64_t MemoryStream::sizeNow() {
    return size_;
}

Stream::Window MemoryStream::readWindow(std::uint64_t position, std::size_t /*wanted*/) {
    if (position >= size_) {
        return {};
    }
    return {room_.data() + position, static_cast<std::size_t>(size_ - position)};
}

Stream::Window MemoryStream::writeWindow(std::uint64_t position, std::size_t wanted) {
    constexpr std::size_t kLeast = 256;
    if (position + wanted > room_.size()) {
        try {
            room_.resize(std::max({position + wanted, 2 * room_.size(), kLeast}));
        } catch (const std::exception&) {
            fail("out of memory");
            return {};
        }
    }
    return {room_.data() + position, static_cast<std::size_t>(room_.size() - position)};
}

bool MemoryStream::keep(std::uint64_t position, const Window& /*window*/, std::size_t count) {
    size_ = std::max(size_, position + count);
    return true;
}

BlockStream::~BlockStream() = default;

std::size_t BlockStream::readAt(std::uint64_t /*position*/, void* /*data*/, std::size_t /*count*/) {
    return 0; // as in MemoryStream
}

std::size_t BlockStream::writeAt(std::uint64_t position, const void* data, std::size_t count) {
    if (!isWritable_) {
        return Stream::writeAt(position, data, count);
    }
    fail("the block of memory is full");
    return 0;
}

std::uint64_t BlockStream::sizeNow() {
    return size_;
}

Stream::Window BlockStream::readWindow(std::uint64_t position, std::size_t /*wanted*/) {
    if (position >= size_) {
        return {};
    }
    return {data_ + position, static_cast<std::size_t>(size_ - position)};
}

Stream::Window BlockStream::writeWindow(std::uint64_t position, std::size_t wanted) {
    return isWritable_ ? readWindow(position, wanted) : Window{};
}

} // namespace io

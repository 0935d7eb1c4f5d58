#include "IO/Stream.h"

#include <new>

namespace io {

namespace {

constexpr std::size_t kBufferSize = std::size_t{16} * 1024;

// From this size on, copying the bytes once more costs more than a call.
constexpr std::size_t kLarge = std::size_t{4} * 1024;

} // namespace

BufferedStream::~BufferedStream() = default;

bool BufferedStream::isWritable() const {
    return false;
}

Stream::Window BufferedStream::readWindow(std::uint64_t position, std::size_t wanted) {
    if (wanted >= kLarge || !makeBuffer()) {
        return {};
    }
    return {buffer_.get(), readAt(position, buffer_.get(), kBufferSize)};
}

Stream::Window BufferedStream::writeWindow(std::uint64_t /*position*/, std::size_t wanted) {
    if (!isWritable() || wanted >= kLarge || !makeBuffer()) {
        return {};
    }
    return {buffer_.get(), kBufferSize};
}

bool BufferedStream::keep(std::uint64_t position, const Window& window, std::size_t count) {
    return writeAt(position, window.begin, count) == count;
}

// Without a buffer the stream works too, but more slowly.
bool BufferedStream::makeBuffer() {
    if (!buffer_) {
        buffer_.reset(new (std::nothrow) unsigned char[kBufferSize]);
    }
    return buffer_ != nullptr;
}

} // namespace io

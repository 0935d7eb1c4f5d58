#include "IO/MemoryStream.h"

namespace io {

namespace {

qz::vector<unsigned char> bytesOf(const Mail::Message& message) {
    qz::vector<unsigned char> bytes(message.getSize());
    bytes.resize(message.getBytes(bytes.data(), bytes.size()));
    return bytes;
}

} // namespace

MessageStream::MessageStream(const Mail::Message& message)
    : MemoryStream(bytesOf(message)), message_(message), handedOn_(bytes().size()) {}

MessageStream::~MessageStream() {
    flush();
}

Stream::Window MessageStream::writeWindow(std::uint64_t position, std::size_t wanted) {
    if (position < handedOn_) {
        fail("what a message has cannot be changed");
        return {};
    }
    return MemoryStream::writeWindow(position, wanted);
}

bool MessageStream::sync() {
    const std::span<const unsigned char> all = bytes();
    if (!message_.addBytes(all.data() + handedOn_, all.size() - handedOn_)) {
        return fail("the message cannot take as much, or there is no memory");
    }
    handedOn_ = all.size();
    return true;
}

} // namespace io

#include "Mail/Stream.h"
#include "Math/Half.h"
#include "mail/fixed_point.h"

#include <algorithm>
#include <cstddef>

namespace Mail {

namespace {

// The low `count` bytes, up to 7, into little-endian memory.
void store(unsigned char* data, std::size_t count, std::uint64_t value) {
    for (std::size_t i = 0; i < count; ++i) {
        data[i] = static_cast<unsigned char>(value >> 8 * i);
    }
}

} // namespace

Reader::Reader() : Reader(Message(0)) {}

Reader::Reader(const Var::Nil&) : Reader() {}

Reader::Reader(const Message& message) : Stream(Direction::read, message) {
    init();
}

Reader::~Reader() = default;

double Reader::readFixed(int bits) {
    const unsigned char width = fieldWidth(bits);
    return width == 0 ? 0 : get(width) / (powerOfTwo(width) - 1);
}

double Reader::readFixed(int intBits, int fracBits) {
    const unsigned char intWidth = fieldWidth(intBits);
    const unsigned char fracWidth = fieldWidth(fracBits);
    const double whole = get(intWidth) - offsetOf(intWidth);
    return whole + get(fracWidth) / powerOfTwo(fracWidth);
}

float Reader::readHalf() {
    return Math::half2float(static_cast<unsigned short>(read(16)));
}

// Byte by byte, where a chunk ends.
std::uint64_t Reader::readAcross(unsigned width) {
    std::uint64_t bits = bits_;
    unsigned known = bitCount_;
    while (known < width) {
        bits = bits << 8 | (prepare() ? *cursor_++ : 0U);
        known += 8;
    }
    bits_ = static_cast<std::uint32_t>(bits);
    bitCount_ = static_cast<std::uint8_t>(known - width);
    return (bits >> bitCount_) & ((std::uint64_t{1} << width) - 1);
}

void Reader::readObject(unsigned char* data, int bits) {
    if (bits <= 0) {
        return;
    }
    std::size_t count = static_cast<unsigned>(bits) / 8;
    const unsigned partial = static_cast<unsigned>(bits) % 8;
    if (partial != 0) {
        data[count] = static_cast<unsigned char>(read(partial));
    }
    while (count != 0) {
        const std::size_t step = std::min<std::size_t>(count, 7);
        count -= step;
        store(data + count, step, read(static_cast<unsigned>(step) * 8));
    }
}

void Reader::init() {
    ByteReader::init(body_ ? body_->data_.first() : nullptr);
    bits_ = 0;
    bitCount_ = 0;
}

} // namespace Mail

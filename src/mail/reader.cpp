#include "Mail/Stream.h"
#include "Math/Half.h"
#include "mail/fixed_point.h"

#include <cstddef>
#include <cstring>

namespace Mail {

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

bool Reader::isAtEnd() {
    return !prepare() && bitCount_ < missing_ + 8;
}

// Reads a word that extends across the end of a chunk.
std::uint32_t Reader::fetchAcross() {
    std::uint32_t word = 0;
    for (unsigned i = 0; i < sizeof word; ++i) {
        const bool isThere = prepare();
        word = word << 8 | (isThere ? *cursor_++ : 0U);
        missing_ += isThere ? 0 : 8;
    }
    return word;
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
    for (; count >= 4; count -= 4) {
        const std::uint32_t value = readWord();
        std::memcpy(data + count - 4, &value, sizeof value);
    }
    for (; count != 0; --count) {
        data[count - 1] = static_cast<unsigned char>(read(8));
    }
}

void Reader::init() {
    ByteReader::init(body_ ? body_->data_.first() : nullptr);
    bits_ = 0;
    bitCount_ = 0;
    missing_ = 0;
}

} // namespace Mail

#include "Mail/Stream.h"
#include "Math/Half.h"
#include "mail/fixed_point.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

namespace Mail {

namespace {

constexpr unsigned kAllBits = ~0U;

// The number, up to 7 bytes long, that lies in little-endian memory.
std::uint64_t load(const unsigned char* data, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = count; i != 0; --i) {
        value = value << 8 | data[i - 1];
    }
    return value;
}

} // namespace

Writer::Writer(const Message& message) : Stream(Direction::write, message) {}

Writer::~Writer() {
    flush();
    Mem::Ptr<Chunk> written = end();
    if (!written || !body_) {
        return;
    }
    const std::uint64_t size = body_->size_ + written->totalSize();
    if (size <= Message::kMaxSize) {
        body_->data_.append(std::move(written));
        body_->size_ = size;
    }
}

void Writer::writeFixed(double value, int bits) {
    const unsigned char width = fieldWidth(bits);
    const double highest = powerOfTwo(width) - 1;
    const double scaled = value * highest;
    if (!(scaled >= 0)) { // not a number, too
        put(0, width);
    } else if (scaled >= highest) {
        put(kAllBits, width);
    } else {
        put(static_cast<unsigned>(scaled + 0.5), width);
    }
}

void Writer::writeFixed(double value, int intBits, int fracBits) {
    const unsigned char intWidth = fieldWidth(intBits);
    const unsigned char fracWidth = fieldWidth(fracBits);
    const double offset = offsetOf(intWidth);
    const double whole = std::floor(value);
    if (!(whole >= -offset)) { // not a number, too
        put(0, intWidth);
        put(0, fracWidth);
    } else if (whole >= offset + 1) {
        put(kAllBits, intWidth);
        put(kAllBits, fracWidth);
    } else {
        const auto integer = static_cast<std::uint64_t>(whole + offset);
        const auto fraction = static_cast<std::uint64_t>((value - whole) * powerOfTwo(fracWidth));
        put(static_cast<unsigned>(integer), intWidth);
        put(static_cast<unsigned>(fraction), fracWidth);
    }
}

void Writer::writeHalf(float value) {
    write(Math::float2half(value), 16);
}

// Byte by byte, where a region ends.
void Writer::writeAcross(std::uint64_t field, unsigned width) {
    const std::uint64_t bits = std::uint64_t{bits_} << width | field;
    unsigned pending = bitCount_ + width;
    while (pending >= 8) {
        pending -= 8;
        if (prepare()) {
            *cursor_++ = static_cast<unsigned char>(bits >> pending);
        }
    }
    bits_ = static_cast<std::uint32_t>(bits);
    bitCount_ = static_cast<std::uint8_t>(pending);
}

void Writer::writeObject(const unsigned char* data, int bits) {
    if (bits <= 0) {
        return;
    }
    std::size_t count = static_cast<unsigned>(bits) / 8;
    const unsigned partial = static_cast<unsigned>(bits) % 8;
    if (partial != 0) {
        write(data[count] & ((1U << partial) - 1), partial);
    }
    while (count != 0) {
        const std::size_t step = std::min<std::size_t>(count, 7);
        count -= step;
        write(load(data + count, step), static_cast<unsigned>(step) * 8);
    }
}

void Writer::flush() {
    if (bitCount_ != 0) {
        write(0, 8U - bitCount_);
    }
}

} // namespace Mail

#include "Mail/Stream.h"
#include "Math/Half.h"
#include "mail/fixed_point.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

namespace Mail {

namespace {

constexpr unsigned kAllBits = ~0U;

std::uint32_t load(const unsigned char* data) {
    std::uint32_t value = 0;
    std::memcpy(&value, data, sizeof value);
    return value;
}

} // namespace

Writer::Writer(const Message& message) : Stream(Direction::write, message) {}

Writer::~Writer() {
    finish();
}

bool Writer::finish() {
    if (state_ == State::open) {
        flush();
        state_ = commit() ? State::kept : State::dropped;
    }
    return state_ == State::kept;
}

bool Writer::commit() {
    const bool memoryRanOut = !buffer_;
    const bool isEmpty = cursor_ == start_ && !chain_.first();
    Mem::Ptr<Chunk> written = end(); // bytes written from now on are dropped
    return !memoryRanOut && (isEmpty || (written && body_ && body_->append(std::move(written))));
}

std::uint64_t Writer::sizeBefore() const {
    return body_ ? body_->size_ : 0;
}

std::uint64_t Writer::getSize() const {
    if (state_ != State::open) {
        return sizeBefore();
    }
    const auto inRegion = static_cast<std::uint64_t>(cursor_ - start_);
    const std::uint64_t pending = (bitCount_ + 7) / 8;
    return sizeBefore() + kept_ + inRegion + pending;
}

bool Writer::overflowed() const {
    if (state_ != State::open) {
        return state_ == State::dropped;
    }
    const bool memoryRanOut = !buffer_;
    const std::uint64_t most = body_ ? Message::kMaxSize : 0;
    return memoryRanOut || getSize() > most;
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
        const double raised = scaled + 0.5;
        put(static_cast<unsigned>(raised), width);
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
        // For a value just below a whole number the difference may be rounded to 1; put() then
        // writes a fraction of 0, as the format has it.
        const auto fraction = static_cast<std::uint64_t>((value - whole) * powerOfTwo(fracWidth));
        put(static_cast<unsigned>(integer), intWidth);
        put(static_cast<unsigned>(fraction), fracWidth);
    }
}

void Writer::writeHalf(float value) {
    write(Math::float2half(value), 16);
}

// Writes a word that extends across the end of a region.
void Writer::storeAcross(std::uint32_t word) {
    for (unsigned left = 32; left != 0; left -= 8) {
        storeByte(word >> (left - 8));
    }
}

void Writer::storeByte(std::uint64_t byte) {
    if (makeRoom()) {
        *cursor_++ = static_cast<unsigned char>(byte);
    }
}

// When a message is too long already, what follows is written over one region again and again, so
// that it takes no memory: everything will be dropped.
bool Writer::makeRoom() {
    if (cursor_ == end_ && kept_ > Message::kMaxSize) {
        cursor_ = start_;
    }
    return prepare();
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
    count = writeRun(data, count);
    for (; count >= 4; count = writeRun(data, count - 4)) {
        writeWord(load(data + count - 4)); // this word crosses the end of a region
    }
    for (; count != 0; --count) {
        write(data[count - 1], 8);
    }
}

// Writes words from the end of an object as long as the region has room. Local copies of the
// members stay in registers. Returns how many bytes are left.
std::size_t Writer::writeRun(const unsigned char* data, std::size_t count) {
    std::uint64_t bits = bits_;
    unsigned char* to = cursor_;
    for (; count >= 4 && end_ - to >= 4; count -= 4) {
        bits = bits << 32 | load(data + count - 4);
        new (to) Word{detail::swapBytes(static_cast<std::uint32_t>(bits >> bitCount_))};
        to += 4;
    }
    bits_ = bits;
    cursor_ = to;
    return count;
}

void Writer::flush() {
    for (; bitCount_ >= 8; bitCount_ -= 8) {
        storeByte(bits_ >> (bitCount_ - 8));
    }
    if (bitCount_ != 0) {
        storeByte(bits_ << (8 - bitCount_));
        bitCount_ = 0;
    }
}

} // namespace Mail

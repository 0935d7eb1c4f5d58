#include "serial/parts.h"

#include "Core/Hash.h"
#include "serial/state.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace serial {

namespace {

constexpr std::size_t kSumAt = kPartHeaderSize - sizeof(std::uint32_t);

std::uint32_t sumOfPart(const unsigned char* header, const unsigned char* bytes, std::size_t size) {
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(header, kSumAt, 0));
    return static_cast<std::uint32_t>(QZ_hash_data(bytes, size, seed));
}

void putHeader(unsigned char* out, const PartHeader& header) {
    std::copy(std::begin(kPartMark), std::end(kPartMark), out);
    putFixed(out + 4, header.state.number);
    putFixed(out + 8, header.state.sum);
    putFixed(out + 12, header.state.base);
    putFixed(out + 16, header.state.baseSum);
    putFixed(out + 20, header.index);
    putFixed(out + 22, header.count);
}

// False for what is no part, or damaged.
bool getHeader(const Bytes& part, PartHeader& header) {
    const unsigned char* const in = part.data();
    if (part.size() < kPartHeaderSize || std::memcmp(in, kPartMark, sizeof kPartMark) != 0 ||
        getFixed<std::uint32_t>(in + kSumAt) !=
            sumOfPart(in, in + kPartHeaderSize, part.size() - kPartHeaderSize)) {
        return false;
    }
    header = {{getFixed<std::uint32_t>(in + 4), getFixed<std::uint32_t>(in + 8),
               getFixed<std::uint32_t>(in + 12), getFixed<std::uint32_t>(in + 16)},
              getFixed<std::uint16_t>(in + 20),
              getFixed<std::uint16_t>(in + 22)};
    const std::size_t size = part.size() - kPartHeaderSize;
    const bool isLast = header.index + 1 == header.count;
    return header.state.number != 0 && header.index < header.count &&
           (size == kPartBytes || (isLast && (size != 0 || header.count == 1)));
}

} // namespace

std::vector<Mail::Message> cut(const Common::detail::StateHeader& state, const Bytes& bytes,
                               std::uint32_t address) {
    const std::size_t count =
        std::max<std::size_t>(1, (bytes.size() + kPartBytes - 1) / kPartBytes);
    std::vector<Mail::Message> messages;
    if (count > std::numeric_limits<std::uint16_t>::max()) {
        return messages;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t done = i * kPartBytes;
        const std::size_t size = std::min(kPartBytes, bytes.size() - done);
        unsigned char header[kPartHeaderSize];
        putHeader(header,
                  {state, static_cast<std::uint16_t>(i), static_cast<std::uint16_t>(count)});
        putFixed(header + kSumAt, sumOfPart(header, bytes.data() + done, size));
        Mail::Message message(address);
        if (!message.addBytes(header, sizeof header) ||
            !message.addBytes(bytes.data() + done, size)) {
            return {};
        }
        messages.push_back(std::move(message));
    }
    return messages;
}

} // namespace serial

namespace Common {

StateParts::Added StateParts::add(const Mail::Message& message) {
    serial::Bytes part(static_cast<std::size_t>(message.getSize()));
    message.getBytes(part.data(), part.size());
    serial::PartHeader header;
    if (!serial::getHeader(part, header)) {
        return Added::kRefused;
    }
    if (header.state.number < header_.number) {
        return Added::kOld;
    }
    if (header.state.number > header_.number && !begin(header.state, header.count)) {
        return Added::kRefused;
    }
    if (header.state != header_ || header.count != parts_.size()) {
        return Added::kRefused;
    }
    if (!parts_[header.index].empty()) {
        return Added::kDouble;
    }
    if (missing_ == 1) {
        bytes_.reserve(parts_.size() * serial::kPartBytes);
    }
    parts_[header.index] = std::move(part);
    if (--missing_ != 0) {
        return Added::kWaiting;
    }
    putTogether();
    return Added::kWhole;
}

bool StateParts::begin(const detail::StateHeader& header, std::size_t count) {
    if (count > mostBytes_ / serial::kPartBytes + 1) {
        return false;
    }
    qz::vector<serial::Bytes> parts(count);
    dropped_ += missing_ != 0 ? 1 : 0;
    parts_.swap(parts);
    bytes_.clear();
    missing_ = count;
    header_ = header;
    return true;
}

// There is room for all. The parts keep their headers, by which doubles are told.
void StateParts::putTogether() {
    for (serial::Bytes& part : parts_) {
        bytes_.insert(bytes_.end(), part.begin() + serial::kPartHeaderSize, part.end());
        part.resize(serial::kPartHeaderSize);
    }
}

void StateParts::clear() {
    *this = StateParts(mostBytes_);
}

} // namespace Common

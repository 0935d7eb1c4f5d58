#include "serial/parts.h"

#include "Core/Hash.h"
#include "serial/serializer_state.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <utility>

namespace serial {

namespace {

constexpr std::size_t kMostParts = std::size_t{1} << 16;
constexpr std::size_t kSumAt = kPartHeaderSize - sizeof(std::uint32_t);

std::uint32_t sumOfPart(const unsigned char* header, const unsigned char* bytes, std::size_t size) {
    const auto seed = static_cast<std::uint32_t>(QZ_hash_data(header, kSumAt, 0));
    return static_cast<std::uint32_t>(QZ_hash_data(bytes, size, seed));
}

void putHeader(unsigned char* out, const PartHeader& header) {
    std::copy(std::begin(kPartMark), std::end(kPartMark), out);
    putFixed(out + 4, header.state.session);
    putFixed(out + 8, header.state.number);
    putFixed(out + 12, header.state.sum);
    putFixed(out + 16, header.state.base);
    putFixed(out + 20, header.state.baseSum);
    putFixed(out + 24, header.state.size);
    putFixed(out + 28, header.state.partSize);
    putFixed(out + 30, header.index);
}

std::size_t sizeOfPart(const Common::detail::StateHeader& state, std::size_t index) {
    return std::min<std::size_t>(state.partSize, state.size - index * state.partSize);
}

// Reads a part's header. False if the bytes are not a part, or are damaged.
bool getHeader(const Bytes& part, PartHeader& header) {
    const unsigned char* const in = part.data();
    if (part.size() < kPartHeaderSize || std::memcmp(in, kPartMark, sizeof kPartMark) != 0 ||
        getFixed<std::uint32_t>(in + kSumAt) !=
            sumOfPart(in, in + kPartHeaderSize, part.size() - kPartHeaderSize)) {
        return false;
    }
    const auto word = [in](int at) { return getFixed<std::uint32_t>(in + at); };
    header = {{word(4), word(8), word(12), word(16), word(20), word(24),
               getFixed<std::uint16_t>(in + 28)},
              getFixed<std::uint16_t>(in + 30)};
    const Common::detail::StateHeader& state = header.state;
    return state.session != 0 && state.number != 0 && state.partSize != 0 &&
           countParts(state) <= kMostParts && header.index < countParts(state) &&
           part.size() - kPartHeaderSize == sizeOfPart(state, header.index);
}

} // namespace

std::vector<Mail::Message> cut(Common::detail::StateHeader state, const Bytes& bytes,
                               std::uint32_t address, std::size_t mostBytes) {
    std::vector<Mail::Message> messages;
    if (mostBytes <= kPartHeaderSize || mostBytes > Mail::Message::kMaxSize ||
        bytes.size() > std::numeric_limits<std::uint32_t>::max()) {
        return messages;
    }
    state.size = static_cast<std::uint32_t>(bytes.size());
    state.partSize = static_cast<std::uint16_t>(mostBytes - kPartHeaderSize);
    const std::size_t count = countParts(state);
    if (count > kMostParts) {
        return messages;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const unsigned char* const part = bytes.data() + i * state.partSize;
        const std::size_t size = sizeOfPart(state, i);
        unsigned char header[kPartHeaderSize];
        putHeader(header, {state, static_cast<std::uint16_t>(i)});
        putFixed(header + kSumAt, sumOfPart(header, part, size));
        Mail::Message message(address);
        if (!message.addBytes(header, sizeof header) || !message.addBytes(part, size)) {
            return {};
        }
        messages.push_back(std::move(message));
    }
    return messages;
}

std::uint32_t newSession() {
    std::random_device source;
    std::uint32_t session = 0;
    while (session == 0) {
        session = source();
    }
    return session;
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
    if (header_.session != 0 && header.state.session != header_.session) {
        return Added::kOtherSender;
    }
    if (header.state.number < header_.number) {
        return Added::kOld;
    }
    if (header.state.number > header_.number && !begin(header.state)) {
        return Added::kRefused;
    }
    if (header.state != header_) {
        return Added::kRefused;
    }
    if (!parts_[header.index].empty()) {
        return Added::kDuplicate;
    }
    if (missing_ == 1) {
        bytes_.reserve(header_.size);
    }
    parts_[header.index] = std::move(part);
    if (--missing_ != 0) {
        return Added::kWaiting;
    }
    putTogether();
    return Added::kComplete;
}

bool StateParts::begin(const detail::StateHeader& header) {
    if (header.size > mostBytes_) {
        return false;
    }
    qz::vector<serial::Bytes> parts(serial::countParts(header));
    dropped_ += missing_ != 0 ? 1 : 0;
    parts_.swap(parts);
    bytes_.clear();
    missing_ = parts_.size();
    header_ = header;
    return true;
}

// Joins the parts; there is room. The parts keep their headers, to detect duplicates.
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

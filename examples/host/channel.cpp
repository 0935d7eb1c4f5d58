#include "channel.h"

#include "user_error.h"

#include <cstring>
#include <ctime>
#include <limits>
#include <random>

namespace {

constexpr unsigned long kStatesBytes = 1 << 20;
constexpr unsigned long kConfirmationsBytes = 1 << 16;
constexpr unsigned long kClaimsBytes = 1 << 12;
constexpr std::int64_t kOldAfter = 2; // seconds

using Size = std::uint16_t;
static_assert(Mail::Message::kMaxSize <= std::numeric_limits<Size>::max());

bool readNext(CRingMessageBuffer& ring, std::vector<char>& bytes, std::int64_t& time) {
    unsigned long word1 = 0, word2 = 0, word3 = 0;
    const auto size = static_cast<unsigned long>(bytes.size());
    return ring.GetMessageA(word1, word2, word3, time, bytes.data(), size) != 0;
}

} // namespace

Channel::Channel(const std::string& name)
    : name_(name), bytes_(sizeof(Size) + Mail::Message::kMaxSize) {
    if (states_.Open((name + ".states").c_str(), kStatesBytes, nullptr) == 0 ||
        confirmations_.Open((name + ".confirmed").c_str(), kConfirmationsBytes, nullptr) == 0) {
        throw UserError("the shared memory " + name + " cannot be opened");
    }
}

/* The host whose claim is the first in the ring sends. The system removes the ring when all hosts
 * that opened it have closed it or are dead; a refused host closes it. */
void Channel::claim() {
    std::random_device random;
    const std::uint32_t mine[] = {random(), random()};
    std::int64_t time = 0;
    if (claims_.Open((name_ + ".claims").c_str(), kClaimsBytes, nullptr) == 0 ||
        claims_.AddMessage(reinterpret_cast<const char*>(mine), sizeof mine) == 0 ||
        !readNext(claims_, bytes_, time)) {
        throw UserError("the shared memory " + name_ + " cannot be opened");
    }
    if (std::memcmp(bytes_.data(), mine, sizeof mine) != 0) {
        throw UserError("another host simulates under the name " + name_ +
                        " already: take another one for --connect");
    }
}

/* The size goes first, because a ring does not tell the length of the text that was read. */
void Channel::send(const Mail::Message& message) {
    const auto size = static_cast<Size>(message.getSize());
    std::memcpy(bytes_.data(), &size, sizeof size);
    message.getBytes(bytes_.data() + sizeof size, size);
    states_.AddMessage(bytes_.data(), static_cast<unsigned long>(sizeof size + size));
}

/* Does not check the bytes: StateParts refuses what is no valid message. */
std::optional<Mail::Message> Channel::receive() {
    std::int64_t time = 0;
    if (!readNext(states_, bytes_, time)) {
        return std::nullopt;
    }
    Size size = 0;
    std::memcpy(&size, bytes_.data(), sizeof size);
    Mail::Message message(0);
    message.addBytes(bytes_.data() + sizeof size, size);
    return message;
}

void Channel::confirm(const Confirmation& confirmation) {
    char bytes[sizeof confirmation];
    std::memcpy(bytes, &confirmation, sizeof bytes);
    confirmations_.AddMessage(bytes, sizeof bytes);
}

std::optional<Confirmation> Channel::takeConfirmation() {
    std::int64_t time = 0;
    while (readNext(confirmations_, bytes_, time)) {
        if (time >= std::time(nullptr) - kOldAfter) {
            Confirmation confirmation{};
            std::memcpy(&confirmation, bytes_.data(), sizeof confirmation);
            return confirmation;
        }
    }
    return std::nullopt;
}

#include "Serial/Bufferizer.h"

#include "platform/thread.h"
#include "serial/packing.h"
#include "serial/parts.h"

#include <atomic>
#include <memory>
#include <utility>

namespace Common {

namespace {

// The image that a base line keeps.
const serial::Image& imageOf(const std::shared_ptr<const void>& image) {
    return *static_cast<const serial::Image*>(image.get());
}

serial::Beside beside(const std::shared_ptr<const void>& image) {
    return image ? serial::Beside(imageOf(image)) : serial::Beside();
}

// A child of fork is another process, and has a session of its own.
std::uint32_t sessionOfProcess() {
    static std::atomic<std::uint64_t> known{0}; // the process, and below it the session
    const auto process = static_cast<std::uint64_t>(platform::processId()) << 32;
    std::uint64_t seen = known.load();
    if (seen >> 32 != process >> 32) {
        const std::uint64_t drawn = process | serial::newSession();
        if (known.compare_exchange_strong(seen, drawn)) {
            seen = drawn;
        }
    }
    return static_cast<std::uint32_t>(seen);
}

} // namespace

Bufferizer::Bufferizer(std::uint32_t number, const Baseline& base)
    : CommonSerializer(std::make_unique<serial::Packing>(), false, Limits().depth)
    , base_(base)
    , header_{sessionOfProcess(), number, 0, base.header_.number, base.header_.sum} {
    if (number <= header_.base) {
        fail("a number that is not above that of the base line");
    }
}

Bufferizer::Bufferizer(const StateParts& parts, const Baseline& base)
    : Bufferizer(parts, base, Limits()) {}

Bufferizer::Bufferizer(const StateParts& parts, const Baseline& base, const Limits& limits)
    : CommonSerializer(std::make_unique<serial::Unpacking>(serial::BitReader(parts.bytes_)), true,
                       limits.depth)
    , header_(parts.header_) {
    auto& unpacking = static_cast<serial::Unpacking&>(form());
    unpacking.mostCells = limits.bytes / sizeof(serial::Cell);
    unpacking.sum = header_.sum;
    unpacking.seed = header_.number;
    if (!parts.isComplete()) {
        fail("a state of which parts are missing");
    } else if (header_.base == 0) {
        return;
    } else if (header_.base != base.header_.number || header_.baseSum != base.header_.sum) {
        fail("a state that belongs to another base line");
    } else {
        base_ = base;
        unpacking.begin(beside(base_.image_), false);
    }
}

Bufferizer::~Bufferizer() = default;

std::vector<Mail::Message> Bufferizer::getMessages(std::uint32_t address, std::size_t mostBytes) {
    if (isLoading() || !hasFinished() || !isGood()) {
        return {};
    }
    serial::BitWriter out;
    serial::write(form().image(), beside(base_.image_), out);
    detail::StateHeader header = header_;
    header.sum = serial::sumOf(form().image(), header.number);
    std::vector<Mail::Message> messages = serial::cut(header, out.take(), address, mostBytes);
    if (messages.empty()) {
        fail(serial::kNotCut);
    }
    return messages;
}

Baseline Bufferizer::getBaseline() const {
    Baseline line;
    if (hasFinished() && isGood()) {
        line.image_ = std::make_shared<const serial::Image>(form().image());
        line.header_ = header_;
        line.header_.sum = serial::sumOf(form().image(), header_.number);
    }
    return line;
}

} // namespace Common

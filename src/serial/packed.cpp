// Transfers values through the forms for messages.
#include "Math/Half.h"
#include "Serial/CommonSerializer.h"
#include "serial/serializer_state.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <limits>
#include <utility>

namespace Common {

CommonSerializer::CommonSerializer(std::unique_ptr<detail::Form> form, bool isLoading,
                                   std::uint32_t depth)
    : ValueSerializer(isLoading, true)
    , version_(std::numeric_limits<std::uint32_t>::max())
    , depthLimit_(depth)
    , state_(new State) {
    state_->form = std::move(form);
    tellsLevels_ = true;
}

detail::Form& CommonSerializer::form() const {
    return *state_->form;
}

// noexcept, because destructors call it.
bool CommonSerializer::accept(const char* error) noexcept {
    try {
        if (error != nullptr) {
            fail(error);
        }
    } catch (const std::exception&) {
        hasFailed_ = true;
        cursor_ = end_ = nullptr;
        state_->error = "out of memory"; // short enough to need no memory
    }
    return isGood();
}

void CommonSerializer::packNumber(std::uint64_t& number, std::uint32_t kind,
                                  std::uint64_t meaning) {
    if (isGood()) {
        kind |= form().describe(name_, meaning);
        accept(isFinished_ ? "the serializer has finished" : form().number(number, kind));
    }
}

// Up to eight bytes are transferred as a number, as in Mail::Stream.
void CommonSerializer::packBytes(unsigned char* bytes, std::size_t size, std::uint64_t meaning) {
    if (size > sizeof(std::uint64_t)) {
        if (isGood()) {
            const std::uint32_t kind = serial::kRow | form().describe(name_, meaning);
            accept(isFinished_ ? "the serializer has finished" : form().row(bytes, size, kind));
        }
        return;
    }
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i) {
        number |= std::uint64_t{bytes[i]} << 8 * i;
    }
    packNumber(number, static_cast<std::uint32_t>(8 * size), meaning);
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<unsigned char>(number >> 8 * i);
    }
}

void CommonSerializer::packBool(unsigned char& byte) {
    std::uint64_t number = byte;
    packNumber(number, 1, serial::kBool);
    byte = static_cast<unsigned char>(number);
}

void CommonSerializer::packInteger(const char* name, std::uint64_t& number, int bits, bool isSigned,
                                   int most) {
    const char* const outer = std::exchange(name_, name);
    if (bits < 1 || bits > most) {
        fail("a width that its type does not have");
    } else {
        const unsigned unused = 64 - static_cast<unsigned>(bits);
        const auto widened = [&](std::uint64_t field) {
            const std::uint64_t top = field << unused;
            return isSigned ? static_cast<std::uint64_t>(static_cast<std::int64_t>(top) >> unused)
                            : top >> unused;
        };
        if (!isLoading_ && widened(number) != number) {
            fail("a value that does not fit its width");
        }
        std::uint64_t field = number << unused >> unused;
        packNumber(field, static_cast<std::uint32_t>(bits),
                   isSigned ? serial::kSigned : serial::kPlain);
        number = isGood() ? widened(field) : number;
    }
    name_ = outer;
}

void CommonSerializer::packFixed(const char* name, double& number, double lowest, double highest,
                                 int bits) {
    const char* const outer = std::exchange(name_, name);
    if (bits < 1 || bits > 32 || !(lowest < highest) || !std::isfinite(highest - lowest)) {
        fail("a width or a range that there is not");
    } else {
        const auto most = static_cast<double>((std::uint64_t{1} << bits) - 1);
        const double part = (number - lowest) / (highest - lowest);
        const double step = part >= 0 ? std::min(part, 1.0) * most + 0.5 : 0; // 0 for not-a-number
        std::uint64_t field = isLoading_ ? 0 : static_cast<std::uint64_t>(step);
        packNumber(field, static_cast<std::uint32_t>(bits), serial::rangeOf(lowest, highest));
        if (isLoading_ && isGood()) {
            const double value = lowest + static_cast<double>(field) / most * (highest - lowest);
            number = std::min(value, highest); // rounding may exceed it
        }
    }
    name_ = outer;
}

void CommonSerializer::packHalf(const char* name, float& number) {
    const char* const outer = std::exchange(name_, name);
    std::uint64_t half = isLoading_ ? 0 : Math::float2half(number);
    packNumber(half, 16, serial::kHalf);
    if (isLoading_ && isGood()) {
        number = Math::half2float(static_cast<unsigned short>(half));
    }
    name_ = outer;
}

void CommonSerializer::packReference(const Identifiable* object) {
    std::uint64_t number = 0;
    if (object != nullptr && isGood()) {
        const serial::Numbers* const numbers = form().numbers;
        number = numbers == nullptr ? 0 : numbers->numberOf(*object);
        if (number == 0) {
            fail("a reference to an object that has no number");
        }
    }
    packNumber(number, serial::kReference, serial::kPlain);
}

Identifiable* CommonSerializer::unpackReference() {
    std::uint64_t number = 0;
    packNumber(number, serial::kReference, serial::kPlain);
    if (number == 0 || !isGood()) {
        return nullptr;
    }
    const serial::Numbers* const numbers = form().numbers;
    const bool isPossible =
        numbers != nullptr && number <= std::numeric_limits<std::uint32_t>::max();
    Identifiable* const object =
        isPossible ? numbers->objectOf(static_cast<std::uint32_t>(number)) : nullptr;
    if (object == nullptr) {
        fail("a reference to an object that does not exist");
    }
    return object;
}

} // namespace Common

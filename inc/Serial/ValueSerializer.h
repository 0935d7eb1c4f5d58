/* The part of Common::CommonSerializer that turns numbers into bytes. C++ only, for programs built
 * by the library's compiler. Programs include Serial/CommonSerializer.h.
 *
 * Values are written to a block of memory, or read from it, at a cursor. If the block has not
 * enough bytes for a value, a virtual function of the derived class is called, which makes room, or
 * fails at the end of the values. In the forms for messages the block is always empty, and the
 * derived class transfers all values. */
#ifndef QZCORE_SERIAL_VALUESERIALIZER_H
#define QZCORE_SERIAL_VALUESERIALIZER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Random/RandomManager.h"
#include "Serial/Field.h"

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace Common {

/* Values that are written as their bytes, the lowest first. */
template<class T>
concept SerializedAsBytes = (std::floating_point<T> && sizeof(T) <= 8) ||
                            (std::integral<T> && sizeof(T) == 1 && !std::same_as<T, bool>);

/* What a value is to a reader who does not have its type. */
template<class T>
constexpr FieldKind fieldKindOf() {
    if constexpr (std::same_as<T, bool>) {
        return FieldKind::kBool;
    } else if constexpr (std::floating_point<T>) {
        return sizeof(T) == sizeof(float) ? FieldKind::kFloat : FieldKind::kDouble;
    } else if constexpr (std::same_as<T, char>) {
        return FieldKind::kCharacter;
    } else if constexpr (sizeof(T) == 1) {
        return std::signed_integral<T> ? FieldKind::kSignedByte : FieldKind::kUnsignedByte;
    } else {
        return std::signed_integral<T> ? FieldKind::kSigned : FieldKind::kUnsigned;
    }
}

class QZ_API ValueSerializer : public RandomSerializer {
public:
    ~ValueSerializer() override;

    bool isLoading() const final { return isLoading_; }

    bool isGood() const { return !hasFailed_; }

    /* Writes or reads `count` values without a length; both sides use the same count. */
    template<SerializedAsBytes T>
    void transferRow(T* values, std::size_t count) {
        if constexpr (sizeof(T) == 1 || std::endian::native == std::endian::little) {
            transferBytes(values, count * sizeof(T), fieldKindOf<T>());
        } else {
            for (std::size_t i = 0; i < count; ++i) {
                transferNumber(values[i]);
            }
        }
    }

protected:
    ValueSerializer(bool isLoading, bool isPacked) : isLoading_(isLoading), isPacked_(isPacked) {}

    /* Makes sure that `size` bytes can be read or written at the cursor; false if not. */
    bool prepare(std::size_t size) {
        return size <= static_cast<std::size_t>(end_ - cursor_) || prepareMore(size);
    }

    /* A row of such elements. */
    void transferBytes(void* bytes, std::size_t size, FieldKind element) {
        if (size > static_cast<std::size_t>(end_ - cursor_)) {
            transferMoreOfRow(bytes, size, element);
        } else if (size != 0) {
            isLoading_ ? std::memcpy(bytes, cursor_, size) : std::memcpy(cursor_, bytes, size);
            cursor_ += size;
        }
    }

    /* The same for a value of a constant size, for which the compiler makes one or two moves. */
    template<std::size_t kSize, FieldKind kKind>
    void transferBytes(void* bytes) {
        if (kSize > static_cast<std::size_t>(end_ - cursor_)) [[unlikely]] {
            transferMore(bytes, kSize, kKind);
            return;
        }
        isLoading_ ? std::memcpy(bytes, cursor_, kSize) : std::memcpy(cursor_, bytes, kSize);
        cursor_ += kSize;
    }

    template<class T>
    void transferNumber(T& value) {
        if constexpr (sizeof(T) == 1 || std::endian::native == std::endian::little) {
            transferBytes<sizeof value, fieldKindOf<T>()>(&value);
        } else {
            unsigned char bytes[sizeof value];
            std::memcpy(bytes, &value, sizeof value);
            reverse(bytes);
            transferBytes<sizeof value, fieldKindOf<T>()>(bytes);
            reverse(bytes);
            std::memcpy(&value, bytes, sizeof value);
        }
    }

    template<FieldKind kKind = FieldKind::kBool>
    void transferBool(bool& value) {
        unsigned char byte = value ? 1 : 0;
        isPacked_ ? packBool(byte) : transferBytes<1, kKind>(&byte);
        if (byte > 1) {
            failAsRange();
        } else if (isGood()) {
            value = byte == 1;
        }
    }

    /* In as many bytes as the number needs; signed numbers have the sign as the lowest bit. */
    template<std::integral T>
    void transferInteger(T& value) {
        using Unsigned = std::make_unsigned_t<T>;
        constexpr int kSignShift = std::numeric_limits<Unsigned>::digits - 1;
        if (!isLoading_) {
            auto bits = static_cast<Unsigned>(value);
            if constexpr (std::signed_integral<T>) {
                bits =
                    static_cast<Unsigned>(bits << 1) ^ static_cast<Unsigned>(value >> kSignShift);
            }
            writeCompact<fieldKindOf<T>()>(bits);
            return;
        }
        const std::uint64_t read = readCompact<fieldKindOf<T>()>();
        if (read > (std::numeric_limits<Unsigned>::max)()) {
            failAsRange();
        }
        if (isGood()) {
            auto bits = static_cast<Unsigned>(read);
            if constexpr (std::signed_integral<T>) {
                bits = static_cast<Unsigned>(bits >> 1) ^ static_cast<Unsigned>(0 - (bits & 1));
            }
            value = static_cast<T>(bits);
        }
    }

    static constexpr std::size_t kMostCompact = 10;

    template<FieldKind kKind>
    void writeCompact(std::uint64_t value) {
        if (kMostCompact > static_cast<std::size_t>(end_ - cursor_) &&
            !prepareCompact(value, kKind)) {
            return;
        }
        for (; value >= 0x80; value >>= 7) {
            *cursor_++ = static_cast<unsigned char>(value | 0x80);
        }
        *cursor_++ = static_cast<unsigned char>(value);
    }

    template<FieldKind kKind = FieldKind::kUnsigned>
    std::uint64_t readCompact() {
        if (cursor_ != end_ && *cursor_ < 0x80) {
            return *cursor_++;
        }
        return readLongCompact(kKind);
    }

    /* The place in the record where values are read or written. */
    unsigned char* cursor_ = nullptr;
    unsigned char* end_ = nullptr;
    bool isLoading_;
    bool isPacked_; /* a form for messages */
    bool hasFailed_ = false;

private:
    template<std::size_t kSize>
    static void reverse(unsigned char (&bytes)[kSize]) {
        for (std::size_t i = 0; i < kSize / 2; ++i) {
            std::swap(bytes[i], bytes[kSize - 1 - i]);
        }
    }

    /* Called for a value for which the block has not enough bytes. */
    virtual bool prepareMore(std::size_t size) = 0;
    virtual void transferMore(void* bytes, std::size_t size, FieldKind kind) = 0;
    virtual void transferMoreOfRow(void* bytes, std::size_t size, FieldKind element) = 0;
    /* false: it is written, or an error */
    virtual bool prepareCompact(std::uint64_t value, FieldKind kind) = 0;
    virtual std::uint64_t readLongCompact(FieldKind kind) = 0;
    virtual void packBool(unsigned char& byte) = 0;

    virtual void failAsRange() = 0;
};

} // namespace Common

#endif

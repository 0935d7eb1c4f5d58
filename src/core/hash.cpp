#include "Core/Hash.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

namespace {

constexpr std::uint32_t kMultiplier = 0x5BD1E995;

std::uint32_t readWord(const unsigned char* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        word = __builtin_bswap32(word);
    }
    return word;
}

inline std::uint32_t mixWord(std::uint32_t hash, std::uint32_t word) {
    word *= kMultiplier;
    word ^= word >> 24;
    word *= kMultiplier;
    return (hash * kMultiplier) ^ word;
}

// Up to three bytes, little-endian in the low bytes of `tail`.
inline std::uint32_t mixTail(std::uint32_t hash, std::uint32_t tail) {
    return (hash ^ tail) * kMultiplier;
}

inline std::uint32_t finish(std::uint32_t hash) {
    hash ^= hash >> 13;
    hash *= kMultiplier;
    return hash ^ (hash >> 15);
}

std::uint32_t readTail(const unsigned char* bytes, std::size_t count) {
    std::uint32_t tail = 0;
    for (std::size_t i = 0; i < count; ++i) {
        tail |= std::uint32_t{bytes[i]} << (8 * i);
    }
    return tail;
}

// Reads a text word by word. The bytes behind the terminator are read as well, unless they lie on
// another page, which may not be there.
class TextWords {
public:
    explicit TextWords(const char* text)
        : next_(reinterpret_cast<const unsigned char*>(text)), lastOnPage_(lastOnPageOf(next_)) {}

    std::uint32_t next() {
        const unsigned char* word = std::exchange(next_, next_ + sizeof(std::uint32_t));
        if (reinterpret_cast<std::uintptr_t>(word) > lastOnPage_) [[unlikely]] {
            lastOnPage_ = lastOnPageOf(next_);
            return readUpToTerminator(word);
        }
        return readWhole(word);
    }

private:
    // Where the last word begins that does not cross into the next page.
    static std::uintptr_t lastOnPageOf(const unsigned char* text) {
        constexpr std::uintptr_t kSmallestPage = 4096;
        const std::uintptr_t lastByte =
            reinterpret_cast<std::uintptr_t>(text) | (kSmallestPage - 1);
        return lastByte + 1 - sizeof(std::uint32_t);
    }

    static std::uint32_t readUpToTerminator(const unsigned char* text) {
        std::uint32_t word = 0;
        for (unsigned i = 0; i < sizeof word && text[i] != 0; ++i) {
            word |= std::uint32_t{text[i]} << (8 * i);
        }
        return word;
    }

    // Address checkers know nothing of pages, and replace memcpy by a function of their own that
    // looks at every byte.
    __attribute__((no_sanitize("address"))) static std::uint32_t
    readWhole(const unsigned char* text) {
        using Unaligned __attribute__((may_alias, aligned(1))) = std::uint32_t;
        const std::uint32_t word = *reinterpret_cast<const Unaligned*>(text);
        return std::endian::native == std::endian::big ? __builtin_bswap32(word) : word;
    }

    const unsigned char* next_;
    std::uintptr_t lastOnPage_;
};

// Non-zero if a byte of the word is zero; the lowest set bit then belongs to the first such byte.
inline std::uint32_t zeroBytes(std::uint32_t word) {
    return (word - 0x01010101u) & ~word & 0x80808080u;
}

} // namespace

uint64_t QZ_hash_data(const void* data, size_t length, uint32_t seed) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint32_t hash = seed ^ static_cast<std::uint32_t>(length);
    for (; length >= 4; length -= 4, bytes += 4) {
        hash = mixWord(hash, readWord(bytes));
    }
    if (length > 0) {
        hash = mixTail(hash, readTail(bytes, length));
    }
    return finish(hash);
}

uint64_t QZ_hash_string(const char* text, uint32_t seed) {
    TextWords words(text);
    std::uint32_t hash = seed;
    std::uint32_t word = words.next();
    std::uint32_t zeros = zeroBytes(word);
    while (zeros == 0) {
        hash = mixWord(hash, word);
        word = words.next();
        zeros = zeroBytes(word);
    }
    const int tailBits = std::countr_zero(zeros) - 7;
    if (tailBits > 0) {
        hash = mixTail(hash, word & ((1u << tailBits) - 1));
    }
    return finish(hash);
}

uint64_t QZ_hash_uint32(uint32_t value) {
    return finish(mixWord(sizeof value, value));
}

uint64_t QZ_hash_uint64(uint64_t value) {
    std::uint32_t hash = sizeof value;
    hash = mixWord(hash, static_cast<std::uint32_t>(value));
    hash = mixWord(hash, static_cast<std::uint32_t>(value >> 32));
    return finish(hash);
}

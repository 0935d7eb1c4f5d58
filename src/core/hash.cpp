#include "Core/Hash.h"

#include "platform/compiler.h"

#include <bit>
#include <cstdint>
#include <cstring>

#ifdef QZ_X64
#    include <emmintrin.h>
#endif

namespace {

constexpr std::uint32_t kMultiplier = 0x5BD1E995;

std::uint32_t readWord(const unsigned char* bytes) {
    std::uint32_t word;
    std::memcpy(&word, bytes, sizeof word);
    if constexpr (std::endian::native == std::endian::big) {
        word = word << 24 | (word & 0xFF00) << 8 | (word >> 8 & 0xFF00) | word >> 24;
    }
    return word;
}

inline std::uint32_t mixWord(std::uint32_t hash, std::uint32_t word) {
    word *= kMultiplier;
    word ^= word >> 24;
    word *= kMultiplier;
    return (hash * kMultiplier) ^ word;
}

// `tail` holds up to three bytes, the first one in the lowest byte.
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

// The chain of multiplications through `hash` limits the speed. Everything else has to fit beside
// it on a processor core that may be shared, so the loop counts once for four words.
constexpr std::size_t kBlock = 16;

inline std::uint32_t mixBlock(std::uint32_t hash, const unsigned char* bytes) {
    for (std::size_t i = 0; i < kBlock; i += sizeof(std::uint32_t)) {
        hash = mixWord(hash, readWord(bytes + i));
    }
    return hash;
}

inline std::uint32_t finishRest(std::uint32_t hash, const unsigned char* bytes, std::size_t count) {
    for (; count >= sizeof(std::uint32_t); count -= sizeof(std::uint32_t)) {
        hash = mixWord(hash, readWord(bytes));
        bytes += sizeof(std::uint32_t);
    }
    if (count > 0) {
        hash = mixTail(hash, readTail(bytes, count));
    }
    return finish(hash);
}

bool crossesPage(const unsigned char* block) {
    constexpr std::uintptr_t kSmallestPage = 4096;
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(block) % kSmallestPage;
    return offset > kSmallestPage - kBlock;
}

#ifdef QZ_X64
// Reads the whole block, also behind the terminator. The sanitizers would report that as a fault or
// as a race with the data there.
QZ_UNCHECKED_READS std::size_t lengthWithinPage(const unsigned char* block) {
    const __m128i zeros =
        _mm_cmpeq_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(block)), __m128i{});
    const auto mask = static_cast<std::uint32_t>(_mm_movemask_epi8(zeros));
    return mask == 0 ? kBlock : static_cast<std::size_t>(std::countr_zero(mask));
}
#else
std::size_t lengthWithinPage(const unsigned char* block) {
    return strnlen(reinterpret_cast<const char*>(block), kBlock);
}
#endif

// The length of the text that begins here, or kBlock if it is longer. Reads the bytes behind the
// terminator as well, unless they may lie on another page, which may not exist.
inline std::size_t lengthUpToBlock(const unsigned char* block) {
    if (crossesPage(block)) [[unlikely]] {
        return strnlen(reinterpret_cast<const char*>(block), kBlock);
    }
    return lengthWithinPage(block);
}

} // namespace

uint64_t QZ_hash_data(const void* data, size_t length, uint32_t seed) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::uint32_t hash = seed ^ static_cast<std::uint32_t>(length);
    for (; length >= kBlock; length -= kBlock, bytes += kBlock) {
        hash = mixBlock(hash, bytes);
    }
    return finishRest(hash, bytes, length);
}

uint64_t QZ_hash_string(const char* text, uint32_t seed) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    std::uint32_t hash = seed;
    std::size_t length = lengthUpToBlock(bytes);
    for (; length == kBlock; length = lengthUpToBlock(bytes)) {
        hash = mixBlock(hash, bytes);
        bytes += kBlock;
    }
    return finishRest(hash, bytes, length);
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

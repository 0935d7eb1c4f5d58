#include "vfs/crc32.h"

#include "platform/compiler.h"

#include <zlib.h>

#if defined(QZ_X64)
#    include <immintrin.h>
#endif

namespace vfs {

namespace {

#if defined(QZ_X64)

// Only these functions use the instruction, so the library runs on processors without it, too.
#    define QZ_TARGET_PCLMUL QZ_FOR_PROCESSOR("pclmul")

constexpr std::size_t kBlock = sizeof(__m128i);
constexpr std::size_t kLanes = 4;
constexpr std::size_t kWorthIt = 256; // bytes; for fewer the plain way is as fast

bool hasPclmul() {
    static const bool has = (platform::processorFeatures() & 1U << 1) != 0;
    return has;
}

QZ_TARGET_PCLMUL __m128i load(const std::uint8_t* data) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(data));
}

// Moves a block's remainder to the position of `next` and adds `next`. The keys are powers of x
// modulo the sum's polynomial, and depend on the distance.
QZ_TARGET_PCLMUL __m128i fold(__m128i block, __m128i keys, __m128i next) {
    const __m128i low = _mm_clmulepi64_si128(block, keys, 0x00);
    const __m128i high = _mm_clmulepi64_si128(block, keys, 0x11);
    return _mm_xor_si128(_mm_xor_si128(low, high), next);
}

// Sums `count` whole blocks, at least four. Folds them into one block that has the same sum, and
// sums that.
QZ_TARGET_PCLMUL std::uint32_t sumOfBlocks(std::uint32_t sum, const std::uint8_t* data,
                                           std::size_t count) {
    const __m128i fourBlocksOn = _mm_set_epi64x(0x1c6e41596, 0x154442bd4);
    const __m128i oneBlockOn = _mm_set_epi64x(0x0ccaa009e, 0x1751997d0);
    __m128i lanes[kLanes];
    for (std::size_t lane = 0; lane < kLanes; ++lane) {
        lanes[lane] = load(data + lane * kBlock);
    }
    lanes[0] = _mm_xor_si128(lanes[0], _mm_cvtsi32_si128(static_cast<int>(~sum)));
    const std::uint8_t* const end = data + count * kBlock;
    data += sizeof lanes;
    for (; static_cast<std::size_t>(end - data) >= sizeof lanes; data += sizeof lanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            lanes[lane] = fold(lanes[lane], fourBlocksOn, load(data + lane * kBlock));
        }
    }
    __m128i rest = lanes[0];
    for (std::size_t lane = 1; lane < kLanes; ++lane) {
        rest = fold(rest, oneBlockOn, lanes[lane]);
    }
    for (; data != end; data += kBlock) {
        rest = fold(rest, oneBlockOn, load(data));
    }
    std::uint8_t bytes[kBlock];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), rest);
    constexpr std::uint32_t kNothingYet = 0xFFFFFFFF; // zlib inverts sums before and after
    return static_cast<std::uint32_t>(crc32_z(kNothingYet, bytes, sizeof bytes));
}

#endif

} // namespace

std::uint32_t updateCrc32(std::uint32_t sum, const void* data, std::size_t size) {
    auto* bytes = static_cast<const std::uint8_t*>(data);
#if defined(QZ_X64)
    if (size >= kWorthIt && hasPclmul()) {
        const std::size_t blocks = size / kBlock;
        sum = sumOfBlocks(sum, bytes, blocks);
        bytes += blocks * kBlock;
        size -= blocks * kBlock;
    }
#endif
    return static_cast<std::uint32_t>(crc32_z(sum, bytes, size));
}

} // namespace vfs

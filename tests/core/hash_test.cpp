#include "Core/Hash.h"
#include "support/test.h"

namespace {

// The algorithm as its definition reads, byte by byte; `mixed` is what the seed is combined with.
std::uint32_t reference(const std::string& bytes, std::uint32_t seed, std::uint32_t mixed) {
    constexpr std::uint32_t m = 0x5BD1E995;
    const auto at = [&](std::size_t i) {
        return std::uint32_t{static_cast<unsigned char>(bytes[i])};
    };
    std::uint32_t hash = seed ^ mixed;
    std::size_t i = 0;
    for (; i + 4 <= bytes.size(); i += 4) {
        std::uint32_t k = at(i) | at(i + 1) << 8 | at(i + 2) << 16 | at(i + 3) << 24;
        k *= m;
        k ^= k >> 24;
        k *= m;
        hash = (hash * m) ^ k;
    }
    const std::size_t left = bytes.size() - i;
    if (left > 0) {
        for (std::size_t j = 0; j < left; ++j) {
            hash ^= at(i + j) << (8 * j);
        }
        hash *= m;
    }
    hash ^= hash >> 13;
    hash *= m;
    hash ^= hash >> 15;
    return hash;
}

TEST(Hash, GivesThePublishedValues) {
    EXPECT_EQ(QZ_hash_data("", 0, 0), 0u);
    EXPECT_EQ(QZ_hash_data(nullptr, 0, 0), 0u);
    EXPECT_EQ(QZ_hash_data("test", 4, 0), 403862830u);
    EXPECT_EQ(QZ_hash_string("", 0), 0u);
}

TEST(Hash, AgreesWithTheDefinitionAtEveryLengthAndAlignment) {
    constexpr std::size_t kLongest = 70;
    constexpr std::size_t kPage = 4096;
    alignas(kPage) char buffer[2 * kPage]; // texts before, across and behind the end of a page
    for (std::size_t offset = kPage - kLongest - 2; offset <= kPage + 8; ++offset) {
        for (std::size_t length = 0; length <= kLongest; ++length) {
            std::string text(length, '\0');
            for (std::size_t i = 0; i < length; ++i) {
                text[i] = static_cast<char>(1 + (i * 37 + length) % 255); // high bytes, no zero
            }
            // What stands behind the terminator must not matter.
            std::memset(buffer, 0xA5, sizeof buffer);
            std::memcpy(buffer + offset, text.c_str(), length + 1);
            const auto seed = static_cast<std::uint32_t>(length * 2654435761u);
            ASSERT_EQ(QZ_hash_data(buffer + offset, length, seed),
                      reference(text, seed, static_cast<std::uint32_t>(length)));
            ASSERT_EQ(QZ_hash_string(buffer + offset, seed), reference(text, seed, 0));
        }
    }
}

TEST(Hash, IntegersHashAsTheirLittleEndianBytes) {
    EXPECT_EQ(QZ_hash_uint32(0x04030201), QZ_hash_data("\1\2\3\4", 4, 0));
    EXPECT_EQ(QZ_hash_uint64(0x0807060504030201), QZ_hash_data("\1\2\3\4\5\6\7\10", 8, 0));
}

} // namespace

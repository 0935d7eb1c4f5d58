#include "Core/Hash.h"
#include "support/test.h"

namespace {

TEST(Hash, GivesThePublishedValues) {
    EXPECT_EQ(QZ_hash_data("", 0, 0), 0u);
    EXPECT_EQ(QZ_hash_data(nullptr, 0, 0), 0u);
    EXPECT_EQ(QZ_hash_data("test", 4, 0), 403862830u);
    EXPECT_EQ(QZ_hash_string("", 0), 0u);
}

// The sums over all lengths were made by following the definition byte by byte.
TEST(Hash, AgreesWithTheDefinitionAtEveryLengthAndAlignment) {
    constexpr std::size_t kLongest = 70;
    constexpr std::size_t kPage = 4096;
    alignas(kPage) char buffer[2 * kPage]; // texts before, across and behind the end of a page
    for (std::size_t offset = kPage - kLongest - 2; offset <= kPage + 8; ++offset) {
        std::uint64_t ofData = 0, ofTexts = 0;
        for (std::size_t length = 0; length <= kLongest; ++length) {
            std::string text(length, '\0');
            for (std::size_t i = 0; i < length; ++i) {
                text[i] = static_cast<char>(1 + (i * 37 + length) % 255); // high bytes, no zero
            }
            // What stands behind the terminator must not matter.
            std::memset(buffer, 0xA5, sizeof buffer);
            std::memcpy(buffer + offset, text.c_str(), length + 1);
            const auto seed = static_cast<std::uint32_t>(length * 2654435761u);
            ofData = ofData * 31 + QZ_hash_data(buffer + offset, length, seed);
            ofTexts = ofTexts * 31 + QZ_hash_string(buffer + offset, seed);
        }
        ASSERT_EQ(ofData, 3270472033770046571U) << offset;
        ASSERT_EQ(ofTexts, 1610922561964149449U) << offset;
    }
}

TEST(Hash, IntegersHashAsTheirLittleEndianBytes) {
    EXPECT_EQ(QZ_hash_uint32(0x04030201), QZ_hash_data("\1\2\3\4", 4, 0));
    EXPECT_EQ(QZ_hash_uint64(0x0807060504030201), QZ_hash_data("\1\2\3\4\5\6\7\10", 8, 0));
}

} // namespace

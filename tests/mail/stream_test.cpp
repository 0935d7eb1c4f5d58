#include "Mail/Stream.h"

#include "Math/Half.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using ChunkPtr = Mem::Ptr<Mail::Chunk>;

Bytes bytesOf(const Mail::Message& message) {
    Mail::Reader reader(message);
    Bytes bytes(message.getSize());
    for (unsigned char& byte : bytes) {
        byte = static_cast<unsigned char>(reader.get(8));
    }
    return bytes;
}

template<class Write>
Bytes written(Write write) {
    const Mail::Message message(1);
    {
        Mail::Writer writer(message);
        write(writer);
    }
    return bytesOf(message);
}

Mail::Message messageOf(const Bytes& bytes) {
    const Mail::Message message(1);
    Mail::Writer writer(message);
    for (const unsigned char byte : bytes) {
        writer.put(byte, 8);
    }
    return message;
}

// The format once more, in the plainest way: a string of bits.
class BitString {
public:
    void put(std::uint64_t value, unsigned width) {
        for (unsigned i = width; i != 0; --i) {
            bits_.push_back((value >> (i - 1) & 1) != 0);
        }
    }

    void putObject(const Bytes& object, unsigned width) {
        if (width % 8 != 0) {
            put(object[width / 8], width % 8);
        }
        for (unsigned i = width / 8; i != 0; --i) {
            put(object[i - 1], 8);
        }
    }

    void pad() { bits_.resize((bits_.size() + 7) / 8 * 8); }

    // Reads on, zeros behind the end.
    std::uint64_t get(unsigned width) {
        std::uint64_t value = 0;
        for (; width != 0; --width, ++position_) {
            value = value << 1 | (position_ < bits_.size() && bits_[position_] ? 1 : 0);
        }
        return value;
    }

    std::size_t size() const { return bits_.size(); }
    std::size_t position() const { return position_; }

private:
    std::vector<bool> bits_;
    std::size_t position_ = 0;
};

class Random {
public:
    explicit Random(unsigned seed) : generator_(seed) {}

    unsigned upTo(unsigned highest) { return any() % (highest + 1); }
    unsigned any() { return static_cast<unsigned>(generator_()); }

    Bytes bytes(std::size_t count) {
        Bytes result(count);
        for (unsigned char& byte : result) {
            byte = static_cast<unsigned char>(any());
        }
        return result;
    }

private:
    std::mt19937 generator_;
};

void writeSomething(Random& random, Mail::Writer& writer, BitString& expected) {
    const unsigned value = random.any();
    const unsigned width = random.upTo(24) + 1;
    switch (random.upTo(3)) {
    case 0: {
        Bytes object = random.bytes(40);
        const unsigned bits = random.upTo(320);
        writer.stream(object.data(), static_cast<int>(bits));
        expected.putObject(object, bits);
        break;
    }
    case 1: {
        const float number = static_cast<float>(random.upTo(200000)) / 7;
        writer.writeHalf(number);
        expected.put(Math::float2half(number), 16);
        break;
    }
    default:
        writer.put(value, static_cast<unsigned char>(width));
        expected.put(value, width);
    }
}

void readSomething(Random& random, Mail::Reader& reader, BitString& expected) {
    if (random.upTo(3) != 0) {
        const unsigned width = random.upTo(24) + 1;
        ASSERT_EQ(reader.get(static_cast<unsigned char>(width)), expected.get(width));
        return;
    }
    const unsigned width = random.upTo(320);
    Bytes object(40, 0xAA), same(40, 0xAA);
    reader.stream(object.data(), static_cast<int>(width));
    if (width % 8 != 0) {
        same[width / 8] = static_cast<unsigned char>(expected.get(width % 8));
    }
    for (unsigned i = width / 8; i != 0; --i) {
        same[i - 1] = static_cast<unsigned char>(expected.get(8));
    }
    ASSERT_EQ(object, same);
}

TEST(Stream, IsBitForBitWhatAStringOfBitsSays) {
    for (unsigned seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        const Mail::Message message(1);
        BitString expected;
        for (unsigned writers = random.upTo(6); writers != 0; --writers) {
            Mail::Writer writer(message);
            for (unsigned i = random.upTo(400); i != 0; --i) {
                writeSomething(random, writer, expected);
            }
            expected.pad();
        }
        ASSERT_EQ(message.getSize() * 8, expected.size());
        Mail::Reader reader(message);
        while (expected.position() < expected.size() + 100 && !::testing::Test::HasFailure()) {
            readSomething(random, reader, expected);
        }
    }
}

// Those of docs/formats/message.md among them.
TEST(Stream, WritesTheseBytes) {
    EXPECT_EQ(written([](auto& w) { w.put(5, 3), w.put(1, 1); }), Bytes({0xB0}));
    EXPECT_EQ(written([](auto& w) { w.put(0xFFFFFFFF, 1), w.put(0x12345, 20); }),
              Bytes({0x89, 0x1A, 0x28}));
    std::uint32_t number = 0x0A0B0C0D;
    EXPECT_EQ(written([&](auto& w) { w.stream(&number, 32); }), Bytes({0x0A, 0x0B, 0x0C, 0x0D}));
    EXPECT_EQ(written([&](auto& w) { w.stream(&number, 12); }), Bytes({0xC0, 0xD0}));
    EXPECT_EQ(written([](auto& w) { w.writeHalf(1.0F); }), Bytes({0x3C, 0x00}));
    Bytes object{1, 2, 3};
    EXPECT_EQ(written([&](auto& w) { w.stream(object.data(), 24); }), Bytes({3, 2, 1}));
    char name[4] = {'t', 'a', 'n', 'k'};
    EXPECT_EQ(written([&](auto& w) {
                  w.put(3, 3);
                  w.writeFixed(0.5, 10);
                  w.writeFixed(12.75, 12, 4);
                  w.stream(name, 32);
              }),
              Bytes({0x70, 0x04, 0x06, 0x63, 0x5B, 0x73, 0x0B, 0xA0}));
    EXPECT_EQ(written([](auto&) {}), Bytes());
    EXPECT_EQ(written([&](auto& w) { w.put(1, 0), w.stream(&number, 0), w.stream(&number, -8); }),
              Bytes());
}

TEST(Stream, UnitNumbers) {
    const auto fixed = [](double value, int bits) {
        return written([=](auto& w) { w.writeFixed(value, bits); });
    };
    EXPECT_EQ(fixed(0.5, 8), Bytes({128}));
    EXPECT_EQ(fixed(-1e-20, 8), Bytes({0}));
    EXPECT_EQ(fixed(-5, 16), Bytes({0, 0}));
    EXPECT_EQ(fixed(1, 16), Bytes({0xFF, 0xFF}));
    EXPECT_EQ(fixed(1e300, 25), Bytes({0xFF, 0xFF, 0xFF, 0x80}));
    EXPECT_EQ(fixed(std::nan(""), 25).size(), 4U);
    EXPECT_EQ(Mail::Reader(messageOf({255})).readFixed(8), 1.0);
    EXPECT_EQ(Mail::Reader(messageOf({51})).readFixed(8), 0.2);
}

TEST(Stream, SignedFixedPoint) {
    const auto fixed = [](double value) {
        const Mail::Message message(1);
        Mail::Writer(message).writeFixed(value, 8, 4);
        Mail::Reader reader(message);
        const unsigned integer = reader.get(8);
        const unsigned fraction = reader.get(4);
        const double back = Mail::Reader(message).readFixed(8, 4);
        EXPECT_EQ(back, integer - 128.0 + fraction / 16.0);
        return std::pair(integer, fraction);
    };
    using Fields = std::pair<unsigned, unsigned>;
    EXPECT_EQ(fixed(-3.25), Fields(124, 12));
    EXPECT_EQ(fixed(127.99), Fields(255, 15));
    EXPECT_EQ(fixed(128.5), Fields(0, 8)) << "wraps, as the format says";
    EXPECT_EQ(fixed(129), Fields(255, 15));
    EXPECT_EQ(fixed(-128), Fields(0, 0));
    EXPECT_EQ(fixed(-128.01), Fields(0, 0));
    EXPECT_EQ(fixed(-1e-20), Fields(127, 0)) << "the fraction is 16 and masked";
    EXPECT_EQ(fixed(std::numeric_limits<double>::infinity()), Fields(255, 15));
    EXPECT_EQ(written([](auto& w) { w.writeFixed(std::nan(""), 25, 25); }).size(), 7U);
}

TEST(Stream, OddWidthsDoNoHarm) {
    const Mail::Message message(1);
    {
        Mail::Writer writer(message);
        writer.put(~0U, 255);
        writer.put(~0U, 32);
        writer.writeFixed(0.5, 1000);
        writer.writeFixed(0.5, -1000);
        writer.writeFixed(0.5, 0, 0);
        writer.writeFixed(1e18, 64, 64);
    }
    Mail::Reader reader(message);
    reader.get(255);
    reader.readFixed(1000);
    reader.readFixed(-1);
    reader.readFixed(0, 0);
    reader.readFixed(64, 64);
}

TEST(Stream, ReadsZerosBehindTheEnd) {
    const Mail::Message message = messageOf({0xAB});
    EXPECT_EQ(Mail::Reader(message).get(16), 0xAB00U);
    std::uint64_t number = ~std::uint64_t{0};
    Mail::Reader(message).stream(&number, 64);
    EXPECT_EQ(number, 0xAB00000000000000U);
    Mail::Reader nothing;
    Mail::Reader nil{Var::Nil()};
    Mail::Reader null{Mail::Message()};
    EXPECT_EQ(nothing.get(25) + nil.get(25) + null.get(25), 0U);
}

TEST(Message, GrowsTo65535BytesAndKeepsWhatItHad) {
    const Mail::Message message(1);
    Bytes data(65534, 0x5A);
    Mail::Writer(message).stream(data.data(), 65534 * 8);
    EXPECT_EQ(message.getSize(), 65534U);
    Mail::Writer(message).put(0x1234, 16);
    EXPECT_EQ(message.getSize(), 65534U);
    Mail::Writer(message).put(0xAB, 8);
    data.push_back(0xAB);
    EXPECT_EQ(bytesOf(message), data);
    Mail::Writer(message).put(1, 1);
    EXPECT_EQ(bytesOf(message), data);
}

TEST(Message, MayConsistOfManyChunks) {
    const Mail::Message message(1);
    for (unsigned i = 0; i < 70000; ++i) {
        Mail::Writer(message).put(i, 8);
    }
    const Bytes bytes = bytesOf(message);
    ASSERT_EQ(bytes.size(), 65535U);
    EXPECT_EQ(bytes[65534], 65534 % 256);
}

TEST(Message, HandlesShareWhatTheyReferTo) {
    Mail::Message message(7);
    const Mail::Message copy = message;
    message.setAddress(8);
    message.setTag(9);
    message.setUserData(10);
    EXPECT_EQ(copy, message);
    EXPECT_EQ(copy.getAddress() + copy.getTag() + copy.getUserData(), 27U);

    Mail::Message null;
    null.setAddress(1);
    null.setTag(1);
    null.setUserData(1);
    Mail::Writer(null).put(1, 8);
    EXPECT_EQ(null.getAddress() + null.getTag() + null.getUserData() + null.getSize(), 0U);
    EXPECT_FALSE(null);
}

struct Unit {
    std::uint16_t type;
    double mass;
    float place[3];

    void exchange(Mail::Stream& stream) {
        stream.transfer(type, 12);
        stream.transfer(mass);
        stream.transfer(place);
    }
};

TEST(Stream, OneFunctionWritesAndReads) {
    Unit unit{0xABC, -1.5, {1, 2, 3}};
    const Mail::Message message(1);
    {
        Mail::Writer writer(message);
        EXPECT_TRUE(writer.isWriter());
        unit.exchange(writer);
    }
    Unit same{};
    Mail::Reader reader(message);
    EXPECT_FALSE(reader.isWriter());
    same.exchange(reader);
    EXPECT_EQ(same.type, unit.type);
    EXPECT_EQ(same.mass, unit.mass);
    EXPECT_EQ(same.place[2], unit.place[2]);
}

std::string text(const ChunkPtr& chain) {
    Mail::ByteReader reader(chain);
    std::string result(10000, '\0');
    result.resize(reader.getData(result.data(), result.size()));
    return result;
}

ChunkPtr chainOf(const std::string& data) {
    return Mail::ByteWriter().putData(data.data(), data.size()).end();
}

std::string numbers(int from, int to) {
    std::string result;
    for (; from < to; ++from) {
        result += std::to_string(from) + ' ';
    }
    return result;
}

TEST(ByteWriter, SharesBuffersWithThoseBeforeIt) {
    const ChunkPtr first = chainOf("abc");
    const ChunkPtr second = chainOf("de");
    EXPECT_EQ(second->begin(), first->end());
    Mail::ByteWriter unused, dropped;
    dropped.putInt(1, 4);
    EXPECT_EQ(unused.end(), nullptr);
}

TEST(ByteWriter, DropsWhatComesAfterItsEnd) {
    Mail::ByteWriter writer;
    writer.putInt(0x01020304, 4).putInt(-2, 2).putInt(5, 0);
    const ChunkPtr chain = writer.end();
    EXPECT_EQ(text(chain), std::string("\x01\x02\x03\x04\xFF\xFE"));
    writer.putInt(7, 1).putData("more", 4);
    EXPECT_EQ(writer.end(), nullptr);
    EXPECT_EQ(chain->totalSize(), 6U);
}

TEST(ByteReader, ReadsNumbers) {
    const ChunkPtr chain = chainOf("\x01\x02\x03\xFF\xFF\xFF\xFE\x80");
    Mail::ByteReader reader(chain);
    EXPECT_EQ(reader.getInt(0), 0);
    EXPECT_EQ(reader.getInt(3), 0x010203);
    EXPECT_EQ(reader.getInt(4), -2);
    EXPECT_EQ(reader.getInt(2), 0x8000);
    EXPECT_EQ(reader.getInt(~std::uint64_t{0}), 0);
}

TEST(ByteReader, TakesPartsAndTheRestWithoutCopying) {
    const std::string data = numbers(0, 1000);
    const ChunkPtr chain = chainOf(data);
    Mail::ByteReader reader(chain);
    const ChunkPtr part = reader.getData(2000);
    EXPECT_EQ(part->begin(), chain->begin());
    EXPECT_EQ(text(part), data.substr(0, 2000));
    EXPECT_EQ(reader.getInt(1), data[2000]);
    const ChunkPtr rest = reader.getRemainingData();
    EXPECT_EQ(text(rest), data.substr(2001));
    EXPECT_EQ(reader.getRemainingData(), nullptr);
    EXPECT_EQ(reader.getData(1), nullptr);
    reader.add(rest);
    EXPECT_EQ(text(reader.getRemainingData()), data.substr(2001));
}

TEST(ByteReader, LeavesTheChainsItReadsAsTheyAre) {
    const std::string a = numbers(0, 700), b = numbers(3, 5);
    const ChunkPtr first = chainOf(a), second = chainOf(b);
    Mail::ByteReader reader;
    reader.add(nullptr);
    EXPECT_FALSE(reader.init(nullptr));
    EXPECT_TRUE(reader.init(first));
    reader.add(second);
    reader.add(first);
    reader.add(first);
    EXPECT_EQ(text(reader.getRemainingData()), a + b + a + a);
    EXPECT_EQ(text(first), a);
    EXPECT_EQ(text(second), b);

    reader.add(first);
    EXPECT_TRUE(reader.init(second)) << "forgets what was queued";
    reader.add(second);
    EXPECT_EQ(text(reader.getRemainingData()), b + b);
}

} // namespace

#include "Mail/Stream.h"

#include "Core/Hash.h"
#include "mail/chains.h"

#include <bit>
#include <tuple>

namespace {

using Bytes = std::vector<unsigned char>;

Bytes bytesOf(const Mail::Message& message) {
    Bytes bytes(message.getSize());
    message.getBytes(bytes.data(), bytes.size());
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
    Mail::Message message(1);
    message.addBytes(bytes.data(), bytes.size());
    return message;
}

void writeSomething(std::mt19937& random, Mail::Writer& writer) {
    const auto value = static_cast<unsigned>(random());
    const auto width = static_cast<unsigned>(random() % 25 + 1);
    const auto kind = random() % 5;
    if (kind == 0) {
        Bytes object(40);
        std::ranges::generate(object, [&] { return static_cast<unsigned char>(random()); });
        writer.stream(object.data(), static_cast<int>(random() % 320));
    } else if (kind == 1) {
        writer.writeHalf(static_cast<float>((value - 2147483648.0) / 7));
    } else if (kind == 2) {
        const int intBits = static_cast<int>(width);
        writer.writeFixed(std::ldexp(value - 2147483648.0, -intBits), intBits, 26 - intBits);
    } else {
        writer.put(value, static_cast<unsigned char>(width));
    }
}

// The sum was made by the plainest implementation of the format, with strings of single bits.
TEST(Stream, IsBitForBitWhatAStringOfBitsSays) {
    std::mt19937 random(62);
    Bytes all;
    for (int round = 0; round < 60; ++round) {
        const Mail::Message message(1);
        for (auto writers = random() % 6; writers != 0; --writers) {
            Mail::Writer writer(message);
            for (auto i = random() % 400; i != 0; --i) {
                writeSomething(random, writer);
            }
        }
        const Bytes bytes = bytesOf(message);
        all.insert(all.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(QZ_hash_data(all.data(), all.size(), 0), 473222967U);
}

// The bytes in docs/formats/message.md are among them.
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
    for (const int width : {-1000, -1, 0, 26, 32, 33, 64, 1000}) {
        const Mail::Message message(1);
        {
            Mail::Writer writer(message);
            writer.put(~0U, static_cast<unsigned char>(width));
            writer.writeFixed(0.5, width);
            writer.writeFixed(1e18, width, width);
        }
        Mail::Reader reader(message);
        reader.get(static_cast<unsigned char>(width));
        reader.readFixed(width);
        reader.readFixed(width, width);
    }
}

TEST(Stream, ReadsZerosBehindTheEnd) {
    EXPECT_EQ(Mail::Reader(messageOf({0xAB})).get(16), 0xAB00U);
    Mail::Reader nothing;
    Mail::Reader nil{Var::Nil()};
    Mail::Reader null{Mail::Message()};
    EXPECT_TRUE(nothing.isAtEnd() && !nothing.overran());
    EXPECT_EQ(nothing.get(25) + nil.get(25) + null.get(25), 0U);
    EXPECT_TRUE(nothing.isAtEnd() && nothing.overran());
}

TEST(Stream, ReaderTellsTheEnd) {
    for (const unsigned char width : std::array<unsigned char, 5>{1, 3, 8, 13, 25}) {
        for (const int bytes : {1, 2, 3, 4, 7, 65}) {
            const int bits = bytes * 8;
            Mail::Reader reader(messageOf(Bytes(static_cast<std::size_t>(bytes))));
            for (int done = width; done < bits + 40; done += width) {
                reader.get(width);
                EXPECT_EQ(reader.isAtEnd(), done > bits - 8) << done << " of " << bits;
                EXPECT_EQ(reader.overran(), done > bits) << done << " of " << bits;
            }
        }
    }
}

TEST(Message, GrowsTo65535BytesInManyChunksAndKeepsWhatItHad) {
    Mail::Message message(1);
    Bytes data(65534);
    std::iota(data.begin(), data.end(), std::uint8_t{0});
    for (const unsigned char byte : data) { // each in a chunk of its own
        Mail::Writer(message).put(byte, 8);
    }
    EXPECT_EQ(message.getSize(), 65534U);
    Mail::Writer(message).put(0x1234, 16);
    EXPECT_EQ(message.getSize(), 65534U);
    Mail::Writer(message).put(0xAB, 8);
    data.push_back(0xAB);
    EXPECT_EQ(bytesOf(message), data);
    Mail::Writer tooMuch(message);
    EXPECT_FALSE(tooMuch.overflowed());
    tooMuch.put(1, 1);
    EXPECT_TRUE(tooMuch.overflowed());
    EXPECT_EQ(tooMuch.getSize(), 65536U);
    for (unsigned i = 0; i < 100'000; ++i) {
        tooMuch.put(i, 25);
    }
    EXPECT_TRUE(tooMuch.overflowed() && tooMuch.getSize() < 150'000) << "it takes no more memory";
    EXPECT_FALSE(tooMuch.finish());
    tooMuch.put(1, 8);
    EXPECT_EQ(tooMuch.getSize(), 65535U);
    EXPECT_FALSE(message.addBytes(data.data(), 1) || message.addBytes(data.data(), ~0ULL));
    EXPECT_TRUE(message.addBytes(nullptr, 0));
    EXPECT_EQ(message.getBytes(data.data(), 2), 2U);
    EXPECT_EQ(bytesOf(message), data);
}

TEST(Message, HasItsBytesWhenItsWriterIsFinished) {
    Mail::Message message(1);
    Mail::Writer writer(message);
    writer.put(0xABC, 12);
    EXPECT_EQ(writer.getSize(), 2U);
    EXPECT_EQ(message.getSize(), 0U);
    EXPECT_TRUE(writer.finish());
    writer.put(1, 8);
    writer.put(1, 25);
    EXPECT_TRUE(writer.finish() && !writer.overflowed());
    EXPECT_EQ(writer.getSize(), 2U);
    EXPECT_EQ(bytesOf(message), (Bytes{0xAB, 0xC0}));
}

TEST(Message, AHandleToNothingKeepsNothing) {
    Mail::Message null;
    null.setAddress(1);
    null.setTag(1);
    null.setUserData(1);
    Mail::Writer(null).put(1, 8);
    EXPECT_FALSE(null.addBytes("a", 1));
    Mail::Writer lost(null);
    EXPECT_FALSE(lost.overflowed());
    lost.put(1, 8);
    EXPECT_TRUE(lost.overflowed() && !lost.finish());
    EXPECT_EQ(null.getBytes(nullptr, 1), 0U);
    EXPECT_EQ(null.getAddress() + null.getTag() + null.getUserData() + null.getSize(), 0U);
}

TEST(Stream, OneFunctionWritesAndReads) {
    const auto exchange = [](Mail::Stream& stream, std::uint16_t type, double mass, bool flag) {
        stream.transfer(type, 12);
        stream.transfer(mass);
        stream.transfer(flag);
        return std::tuple(type, mass, flag);
    };
    const Mail::Message message(1);
    exchange(*std::make_unique<Mail::Writer>(message), 0xABC, -1.5, true);
    Mail::Reader reader(message);
    EXPECT_FALSE(reader.isWriter());
    EXPECT_EQ(exchange(reader, 0, 0, false), std::tuple(std::uint16_t{0xABC}, -1.5, true));
    bool flag = false;
    const Mail::Message other(1);
    Mail::Writer(other).put(0xAB, 8);
    Mail::Reader(other).transfer(flag);
    EXPECT_EQ(std::bit_cast<char>(flag), 1) << "true, whatever the byte";
}

TEST(ByteWriter, SharesBuffersAndDropsWhatComesAfterItsEnd) {
    const ChunkPtr first = chainOf("abc");
    const ChunkPtr second = chainOf("de");
    EXPECT_EQ(second->begin(), first->end());
    Mail::ByteWriter unused, dropped;
    dropped.putInt(1, 4);
    EXPECT_EQ(unused.end(), nullptr);

    Mail::ByteWriter writer;
    writer.putInt(0x01020304, 4).putInt(-2, 2).putInt(5, 0);
    const ChunkPtr chain = writer.end();
    EXPECT_EQ(qz::test::bytesOf(chain), std::string("\x01\x02\x03\x04\xFF\xFE"));
    writer.putInt(7, 1).putData("more", 4);
    EXPECT_EQ(writer.end(), nullptr);
    EXPECT_EQ(chain->totalSize(), 6U);
}

TEST(ByteReader, PartsShareTheBytesAndLeaveTheChainAsItIs) {
    const ChunkPtr chain = chainOf(std::string(1500, 'a'));
    Mail::ByteReader reader(chain);
    reader.add(chain);
    EXPECT_EQ(reader.getInt(~std::uint64_t{0} - 1499), 0);
    EXPECT_TRUE(reader.init(chain)) << "forgets what was queued";
    const ChunkPtr part = reader.getData(std::uint64_t{1});
    EXPECT_EQ(part->begin(), chain->begin());
    EXPECT_EQ(reader.getRemainingData()->begin(), chain->begin() + 1);
    EXPECT_EQ(chain->totalSize(), 1500U);
}

} // namespace

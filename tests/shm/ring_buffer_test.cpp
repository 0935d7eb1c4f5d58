#include "Shm/RingBuffer.h"
#include "support/test.h"

#include <ctime>

namespace {

// Memory for a ring. Checks that nothing is written behind it.
struct Block : NonCopyable {
    explicit Block(std::size_t count) : bytes(count, 0), size(count) {
        bytes += std::string(64, 'Z');
    }
    ~Block() { EXPECT_EQ(bytes.substr(size), std::string(64, 'Z')); }

    char* get() { return bytes.data(); }
    std::vector<std::uint32_t> words(std::size_t count) const {
        std::vector<std::uint32_t> values(count);
        std::memcpy(values.data(), bytes.data(), count * 4);
        return values;
    }
    std::uint32_t word(std::size_t offset) const { return words(offset / 4 + 1).back(); }
    void setWord(std::size_t offset, std::uint32_t value) {
        std::memcpy(get() + offset, &value, sizeof value);
    }

    std::string bytes;
    const std::size_t size;
};

int push(CRingBuffer& ring, const std::string& text) {
    const auto length = static_cast<unsigned long>(text.size());
    return ring.PushStart(length) == 1 && ring.PushData(text.data(), length) == 1 &&
           ring.PushStop() == 1;
}

// The next record, or "-" if there is none.
std::string pop(CRingBuffer& ring, int* overwritten = nullptr) {
    std::string text(ring.PopStart(overwritten), 0);
    if (text.empty()) {
        return "-";
    }
    const auto length = static_cast<unsigned long>(text.size());
    EXPECT_EQ(ring.PopData(text.data(), length, length), 1);
    ring.PopStop();
    return text;
}

using Words = std::vector<std::uint32_t>;

// A ring of 100 bytes of records, for one writer and two readers.
struct RingBuffer : testing::Test {
    RingBuffer() {
        EXPECT_EQ(ring.Init(block.get(), 144), 1);
        EXPECT_EQ(reader.Open(block.get()), 1);
        EXPECT_EQ(late.Open(block.get()), 1);
    }

    Block block{144};
    CRingBuffer ring, reader, late;
    int overwritten = -1;
};

TEST_F(RingBuffer, Block) {
    EXPECT_EQ(block.words(11), Words({144, 44, 100, 144, 44, 0, 44, 0, 0, 0, 0}));
    EXPECT_EQ(ring.PushStart(6), 1);
    EXPECT_EQ(ring.PushData("abc", 3), 1);
    EXPECT_EQ(pop(reader), "-"); // not whole yet
    EXPECT_EQ(ring.PushData("defg", 4), 0);
    EXPECT_EQ(ring.PushStop(), 1);
    EXPECT_EQ(ring.PushStop(), 0);
    EXPECT_EQ(std::string(block.get() + 44, 10), std::string("\6\0\0\0abcdef", 10));
    EXPECT_EQ(block.words(11), Words({144, 44, 100, 144, 54, 0, 44, 0, 1, 1, 0}));

    EXPECT_EQ(ring.PushStart(0), 0);
    EXPECT_EQ(ring.PushStart(3), 1);
    EXPECT_EQ(ring.PushStop(), 0); // incomplete; its length stays
    EXPECT_EQ(pop(reader), "abcdef");
    EXPECT_EQ(reader.PopStart(nullptr), 3U);
    char byte = 0;
    EXPECT_EQ(reader.PopData(&byte, 1, 4), 0);
    EXPECT_EQ(pop(reader), "-");
    EXPECT_EQ(pop(ring), "abcdef");
}

TEST_F(RingBuffer, RoomAndLapping) {
    EXPECT_EQ(push(ring, std::string(95, 'x')), 1);
    EXPECT_EQ(ring.PushStart(96), 0);
    EXPECT_EQ(ring.GetTotalCount(), 0U);

    for (int i = 0; i < 1000; ++i) {
        const std::string text(static_cast<std::size_t>(1 + i * 7 % 60),
                               static_cast<char>('a' + i % 26));
        ASSERT_EQ(push(ring, text), 1);
        ASSERT_EQ(ring.GetTotalCount() + ring.GetDelCount(), ring.GetAddCount());
        if (i % 5 == 0) { // goes over dataEnd again and again
            std::string last = "-";
            for (std::string next; (next = pop(reader, i == 0 ? nullptr : &overwritten)) != "-";) {
                last = next;
            }
            ASSERT_EQ(last, text);
            ASSERT_EQ(overwritten, i == 0 ? -1 : 0);
        }
    }
    ASSERT_EQ(late.Open(block.get()), 1);
    const std::string oldest = pop(late);
    EXPECT_EQ(pop(reader, &overwritten), oldest);
    EXPECT_EQ(overwritten, 1);

    // A reader may also be lapped in the middle of a record: it loses the rest and the records
    // behind.
    ASSERT_NE(late.PopStart(nullptr), 0U);
    char byte = 0;
    EXPECT_EQ(late.PopData(&byte, 1, 1), 1);
    EXPECT_EQ(push(ring, std::string(90, 'z')), 1);
    EXPECT_EQ(late.PopData(&byte, 1, 1), 0);
    EXPECT_EQ(pop(late, &overwritten), std::string(90, 'z'));
    EXPECT_EQ(overwritten, 1);

    // A writer that initialises the ring again starts its count of laps again.
    ASSERT_EQ(push(ring, "old"), 1);
    ASSERT_EQ(late.PopStart(nullptr), 3U);
    ASSERT_EQ(ring.Init(block.get(), 144), 1);
    ASSERT_EQ(push(ring, "new"), 1);
    EXPECT_EQ(late.PopData(&byte, 1, 1), 0);
    EXPECT_EQ(pop(late, &overwritten), "new");
}

// After enough laps the writer's count of laps wraps around to 0.
TEST_F(RingBuffer, LapsWrap) {
    block.setWord(20, 0xFFFFFFFF);
    block.setWord(28, 0xFFFFFFFF);
    ASSERT_EQ(reader.Open(block.get()), 1);
    ASSERT_EQ(late.Open(block.get()), 1);
    for (int i = 0; i < 100; ++i) {
        const std::string text = std::to_string(i);
        ASSERT_EQ(push(ring, text), 1);
        ASSERT_EQ(pop(reader, &overwritten), text);
        ASSERT_EQ(overwritten, 0);
        ASSERT_EQ(pop(reader), "-");
    }
    EXPECT_NE(pop(late, &overwritten), "0");
    EXPECT_EQ(overwritten, 1);
}

TEST(Ring, Refusals) {
    Block block(200);
    CRingBuffer ring;
    char byte = 0;
    EXPECT_EQ(ring.PushStart(1), 0);
    EXPECT_EQ(ring.PushData(&byte, 1), 0);
    EXPECT_EQ(ring.PushStop(), 0);
    EXPECT_EQ(ring.PopStart(nullptr), 0U);
    EXPECT_EQ(ring.PopData(&byte, 1, 1), 0);
    EXPECT_EQ(ring.PutBlock("a", 1, 1), 0);
    EXPECT_EQ(ring.GetAddCount() + ring.GetTotalCount() + ring.GetDelCount(), 0U);
    EXPECT_EQ(ring.InitNew(44), 0);
    EXPECT_EQ(ring.Init(block.get() + 1, 100), 0);
    EXPECT_EQ(ring.Open(block.get()), 0); // zeros are no header
    ASSERT_EQ(ring.InitNew(45), 1);
    EXPECT_EQ(ring.PushStart(1), 0);
    ASSERT_EQ(ring.InitNew(200), 1);
    EXPECT_EQ(push(ring, "kept"), 1);
    EXPECT_EQ(ring.PushStart(0xFFFFFFFF), 0);
    EXPECT_EQ(ring.PushStart(0xFFFFFFFC), 0);
    EXPECT_EQ(pop(ring), "kept"); // lengths that would wrap discard nothing

    CBaseRingBuffer plain;
    ASSERT_EQ(plain.Init(block.get(), 200), 1);
    EXPECT_EQ(ring.Open(block.get()), 0); // no room for counters
    for (std::size_t offset = 0; offset < 16; offset += 4) {
        const std::uint32_t value = block.word(offset);
        for (const std::uint32_t wrong : {0U, 31U, 4000U, 0xFFFFFFFFU}) {
            block.setWord(offset, wrong);
            EXPECT_EQ(plain.Open(block.get()), 0);
        }
        block.setWord(offset, value);
    }
    EXPECT_EQ(plain.Open(block.get()), 1);
}

TEST(Ring, Transport) {
    Block block(132);
    CBaseRingBuffer ring;
    ASSERT_EQ(ring.Init(block.get(), 132), 1);
    std::string bytes(100, 0);
    std::iota(bytes.begin(), bytes.end(), 1);
    EXPECT_EQ(ring.PutBlock(bytes.data(), 100, 100), 1);
    EXPECT_EQ(block.word(16), 32U); // landing on the end wraps
    EXPECT_EQ(block.word(20), 1U);
    EXPECT_EQ(ring.PutBlock("xyz", 3, 70), 1); // 67 bytes stay
    EXPECT_EQ(ring.PutBlock("0123456789012345678901234567890123456789", 40, 40), 1);
    EXPECT_EQ(block.word(16), 42U);
    EXPECT_EQ(block.word(20), 2U);

    unsigned long pos = 100, lap = 1;
    char copy[50] = {};
    EXPECT_EQ(ring.GetBlock(copy, 4, 2, &pos, &lap), 1);
    EXPECT_EQ(std::string(copy), bytes.substr(68, 2));
    EXPECT_EQ(ring.GetBlock(copy, 33, 40, &pos, &lap), 1);
    EXPECT_EQ(std::string(copy), "012345678901234567890123456789012");
    EXPECT_EQ(pos, 42U);
    EXPECT_EQ(lap, 2U);
    EXPECT_EQ(ring.GetBlock(copy, 50, 101, &pos, &lap), 0);
    EXPECT_EQ(ring.PutBlock(copy, 50, 101), 0);
    pos = 0xFFFFFFFF;
    EXPECT_EQ(ring.GetBlock(copy, 50, 50, &pos, &lap), 1);
}

struct WideHeader : tag_TUNIHeader {
    char more[4];
};

TEST(UniRingBuffer, Records) {
    Block block(132);
    CUNIRingBuffer ring, reader;
    ASSERT_EQ(ring.Init(block.get(), 132), 1);
    ASSERT_EQ(reader.Open(block.get()), 1);
    WideHeader header;
    header.kind = 7;
    header.length = 9;
    std::memcpy(header.more, "more", 4);
    EXPECT_EQ(ring.Put(&header, "data!", 5), 1);
    EXPECT_EQ(std::string(block.get() + 32, 13), std::string("\7\0\11\0moredata!", 13));
    EXPECT_EQ(ring.Put(&header, nullptr, 5), 0);
    EXPECT_EQ(ring.Put(&header, "data data data", 10), 0);
    header.length = 4;
    EXPECT_EQ(ring.Put(&header, nullptr, 0), 1);

    tag_TUNIHeader seen{};
    int overwritten = -1;
    EXPECT_EQ(reader.ReadHeader(&seen, &overwritten), 1);
    EXPECT_EQ(seen.length, 9);
    char copy[20] = {};
    EXPECT_EQ(reader.Get(copy, sizeof copy, &overwritten), 1);
    EXPECT_EQ(std::string(copy + 4), "moredata!");
    EXPECT_EQ(overwritten, 0);
    EXPECT_EQ(reader.Get(copy, 7, &overwritten), 0); // too small, and gone
    EXPECT_EQ(reader.Get(copy, sizeof copy, &overwritten), 0);

    for (int i = 0; i < 30; ++i) {
        header.length = static_cast<std::uint16_t>(4 + i);
        ASSERT_EQ(ring.Put(&header, std::string(30, 'd').data(), static_cast<unsigned short>(i)),
                  1);
    }
    EXPECT_EQ(reader.ReadHeader(&seen, &overwritten), 1);
    EXPECT_EQ(overwritten, 1);
    EXPECT_EQ(reader.Get(copy, sizeof copy, &overwritten), 0);
    EXPECT_EQ(overwritten, 1); // ReadHeader does not move the reader
    header.length = 0xFFFF;
    EXPECT_EQ(ring.Put(&header, std::string(0xFFFF, 'x').data(), 0xFFFF), 0);
    EXPECT_EQ(reader.ReadHeader(&seen, &overwritten), 0);
}

struct Messages : NonCopyable {
    explicit Messages(const std::string& name, unsigned long size = 0)
        : ring(CRingMessageBuffer::OpenNew(name.c_str(), size, nullptr)) {
        EXPECT_NE(ring, nullptr) << name;
    }
    ~Messages() { EXPECT_EQ(ring->Close(1), 1); }

    int get(unsigned long capacity = sizeof text) {
        return ring->GetMessageA(words[0], words[1], words[2], time, text, capacity);
    }

    CRingMessageBuffer* const ring;
    unsigned long words[3] = {9, 9, 9};
    int64_t time = 0;
    char text[200] = "untouched";
};

std::string nameOf(const char* test) {
    return std::string("qz ") + test + " " + std::to_string(std::random_device()());
}

TEST(RingMessageBuffer, Messages) {
    const std::string name = nameOf("messages");
    Messages writer(name), reader(name, 500);
    EXPECT_EQ(reader.get(), 0);
    EXPECT_STREQ(reader.text, "untouched");
    EXPECT_EQ(reader.ring->Open("qz another", 0, nullptr), 0);

    const std::int64_t before = std::time(nullptr);
    EXPECT_EQ(writer.ring->AddMessage("discarded", 9), 1);
    EXPECT_EQ(writer.ring->AddMessage(nullptr, 3), 0);
    EXPECT_EQ(writer.ring->AddMessage("", 20000), 0); // discards everything
    EXPECT_EQ(reader.get(), 0);
    EXPECT_EQ(writer.ring->AddMessage("hello, world", 5), 1);
    EXPECT_EQ(writer.ring->AddMessage("measured", 0xFFFFFFFF), 1);
    if constexpr (ULONG_MAX > 0xFFFFFFFF) {
        EXPECT_EQ(writer.ring->AddMessage("no length", ULONG_MAX / 2), 0);
        EXPECT_EQ(writer.ring->AddMessage("no length", ULONG_MAX - 1), 0);
    }
    EXPECT_EQ(writer.ring->AddFormatMessage("%d%%%s", 7, std::string(2000, 'x').c_str()), 1);
    EXPECT_EQ(writer.ring->AddMessage("", 0), 1);
    EXPECT_EQ(reader.get(), 1);
    EXPECT_STREQ(reader.text, "hello");
    EXPECT_EQ(reader.words[0] + reader.words[1] + reader.words[2], 0U);
    EXPECT_GE(reader.time, before);
    EXPECT_LE(reader.time, std::time(nullptr));
    EXPECT_EQ(reader.get(8), 1); // fits without its terminator
    EXPECT_EQ(std::string(reader.text, 8), "measured");
    EXPECT_EQ(reader.get(64), 2);
    EXPECT_EQ(std::string(reader.text, 64), "7%" + std::string(62, 'x'));
    EXPECT_EQ(reader.get(), 1);
    EXPECT_STREQ(reader.text, "");
    EXPECT_EQ(reader.get(), 0);
}

TEST(RingMessageBuffer, Block) {
    Block block(132);
    CRingMessageBuffer ring; // memory without a name: nothing is locked
    ASSERT_EQ(ring.Init(block.get(), 132), 1);
    EXPECT_EQ(ring.AddMessage("ab", 2), 1);
    EXPECT_EQ(block.words(12), Words({132, 32, 100, 132, 58, 0, 32, 0, 22, 0, 0, 0}));
    EXPECT_EQ(std::string(block.get() + 56, 2), "ab");
    EXPECT_LE(block.word(48), static_cast<std::uint32_t>(std::time(nullptr)));
    EXPECT_EQ(ring.AddMessage(std::string(76, 'x').data(), 76), 0);
    EXPECT_EQ(ring.AddMessage(std::string(75, 'x').data(), 75), 1);
}

TEST(RingMessageBuffer, Names) {
    for (const char* name :
         {static_cast<const char*>(nullptr), "", "a/b",
          "qz 0123456789012345678901234567890123456789012345678901234567890123456789"}) {
        EXPECT_EQ(CRingMessageBuffer::OpenNew(name, 0, nullptr), nullptr);
    }
    const std::string longest = nameOf(std::string(45, 'n').c_str()).substr(0, 64);
    const std::string name = nameOf("names");
    {
        Messages first(longest), other(name);
        EXPECT_EQ(first.ring->AddMessage("first", 5), 1);
        EXPECT_EQ(other.get(), 0);
    }
    Messages again(name);
    EXPECT_EQ(again.get(), 0); // the last user to close it removed it
    EXPECT_EQ(CRingMessageBuffer::OpenNew((name + "too small").c_str(), 32, nullptr), nullptr);

    auto* const closed = new CRingMessageBuffer;
    EXPECT_EQ(closed->AddMessage("nobody hears", 5), 0);
    EXPECT_EQ(closed->Open("", 0, nullptr), 0);
    EXPECT_EQ(closed->Open(name.c_str(), 0, nullptr), 1); // a failed open leaves the object usable
    EXPECT_EQ(closed->Close(0), 1);
    EXPECT_EQ(closed->Close(1), 1);
}

std::string record(unsigned long number) {
    return std::to_string(number) + std::string(number % 150, '.');
}

using Read = std::function<bool(std::string& text)>; // false if there is nothing to read

// The last number read; 0 if there was a torn record, or one out of order.
unsigned long readRecords(const Read& read, const std::atomic<bool>& done) {
    std::string text;
    for (unsigned long last = 0;;) {
        const bool isOver = done;
        if (read(text)) {
            const unsigned long number = std::strtoul(text.c_str(), nullptr, 10);
            if (number <= last || text != record(number)) {
                return 0;
            }
            last = number;
        } else if (isOver) {
            return last;
        }
    }
}

// Writes as fast as it can, so four readers are lapped now and then.
template<class Write, class MakeReader>
void writeAndRead(unsigned long count, Write write, MakeReader makeReader) {
    std::atomic<bool> done = false;
    std::vector<unsigned long> last(4);
    std::jthread writer([&] {
        for (unsigned long number = 1; number <= count; ++number) {
            write(record(number));
            if (number % 1024 == 0) {
                std::this_thread::yield();
            }
        }
        done = true;
    });
    inThreads(4, [&](std::size_t reader) { last[reader] = readRecords(makeReader(), done); });
    EXPECT_EQ(last, std::vector<unsigned long>(4, count));
}

#ifdef QZ_TEST_IS_SLOW
constexpr unsigned long kRecords = 10'000;
#else
constexpr unsigned long kRecords = 200'000;
#endif

TEST(Ring, FourReadersWithoutLock) {
    Block block(4001);
    CRingBuffer writer;
    ASSERT_EQ(writer.Init(block.get(), 4001), 1);
    const auto makeReader = [&]() -> Read {
        const auto ring = std::make_shared<CRingBuffer>();
        ring->Open(block.get());
        return [ring](std::string& text) {
            const unsigned long length = ring->PopStart(nullptr);
            text.resize(length);
            return length != 0 && ring->PopData(text.data(), length, length) == 1;
        };
    };
    writeAndRead(
        kRecords, [&](const std::string& text) { push(writer, text); }, makeReader);
}

TEST(RingMessageBuffer, FourReadersOfMessages) {
    const std::string name = nameOf("readers");
    Messages writer(name, 4001);
    const auto makeReader = [&]() -> Read {
        const auto reader = std::make_shared<Messages>(name);
        return [reader](std::string& text) {
            const bool isRead = reader->get() == 1;
            text = reader->text;
            return isRead;
        };
    };
    const auto write = [&](const std::string& text) {
        writer.ring->AddMessage(text.data(), static_cast<unsigned long>(text.size()));
    };
#ifdef _WIN32 // an emulator's mutex takes a hundred times as long
    writeAndRead(kRecords / 50, write, makeReader);
#else
    writeAndRead(kRecords, write, makeReader);
#endif
}

} // namespace

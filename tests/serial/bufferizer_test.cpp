// Values as states for a network: whole states, and changes since a base line.
#include "Serial/Bufferizer.h"

#include "serial/saved.h"
#include "serial/values.h"

namespace {

using Common::Baseline;
using Common::Bufferizer;
using Common::CommonSerializer;
using Common::StateParts;

template<class T>
Messages write(T& value, std::uint32_t number, const Baseline& base = {},
               Baseline* line = nullptr) {
    Bufferizer writing(number, base);
    writing.transfer("world", value);
    EXPECT_TRUE(writing.finish()) << writing.getError();
    if (line != nullptr) {
        *line = writing.getBaseline();
    }
    return writing.getMessages(7);
}

// The error; empty if there is none.
template<class T>
std::string read(const StateParts& parts, T& value, Baseline* base = nullptr) {
    Bufferizer reading(parts, base == nullptr ? Baseline() : *base);
    reading.transfer("world", value);
    if (reading.finish() && base != nullptr) {
        *base = reading.getBaseline();
    }
    return reading.getError();
}

template<class T>
std::string read(const Messages& messages, T& value, Baseline* base = nullptr) {
    return read(partsOf(messages), value, base);
}

struct Unit {
    int kind = 0;
    double heading = -1; // 0 lies between two steps of its range
    float speed = 0;
    std::int8_t side = 0;
    bool isAlive = false;

    void serialize(CommonSerializer& serializer) {
        serializer.transferBits("kind", kind, 12);
        serializer.transferFixed("heading", heading, -1, 1, 10);
        serializer.transferHalf("speed", speed);
        serializer.transferBits("side", side, 2);
        serializer.transfer("isAlive", isAlive);
    }
    bool operator==(const Unit&) const = default;
};

TEST(Bufferizer, FieldsHaveTheirWidths) {
    Unit unit{1000, 0.25, 1.5F, -2, true}, back;
    const Messages whole = write(unit, 1);
    ASSERT_EQ(whole.size(), 1U);
    EXPECT_EQ(whole[0].getAddress(), 7U);
    // 001111101000 1001111111 0011111000000000 10 1, and the rest zeros
    EXPECT_EQ(bytesOf(whole[0]).substr(kHeader), std::string("\x3E\x89\xFC\xF8\x02\x80", 6));
    EXPECT_EQ(read(whole, back), "");
    EXPECT_NEAR(back.heading, 0.25, 1.0 / 1023);
    EXPECT_EQ(unit.heading, 0.25) << "writing changes nothing";
    back.heading = unit.heading;
    EXPECT_EQ(back, unit);
    // In a file the values are exact.
    Common::FactoryManager factories;
    unit.heading = 5;
    EXPECT_EQ(load(save(unit), back, factories), "");
    EXPECT_EQ(back, unit);
    for (const auto& [heading, expected] :
         {std::pair(9.0, 1.0), std::pair(-9.0, -1.0), std::pair(std::nan(""), -1.0)}) {
        unit.heading = heading;
        EXPECT_EQ(read(write(unit, 1), back), "");
        EXPECT_EQ(back.heading, expected);
    }
    struct Tenths {
        double value = 0;
        void serialize(CommonSerializer& s) { s.transferFixed("value", value, -0.1, 0.3, 10); }
    } most{0.3}, read3;
    EXPECT_EQ(read(write(most, 1), read3), "");
    EXPECT_EQ(read3.value, 0.3) << "not beyond by rounding";
}

TEST(Bufferizer, ErrorsTellWhere) {
    const auto errorOf = [](auto& value) {
        Bufferizer writing(1);
        writing.transfer("world", value);
        EXPECT_FALSE(writing.finish());
        EXPECT_TRUE(writing.getMessages(1).empty());
        EXPECT_FALSE(writing.getBaseline());
        return writing.getError();
    };
    std::vector<Unit> units(3);
    units[2].kind = 4096;
    EXPECT_EQ(errorOf(units), "world[2].kind: a value that does not fit its width");
    units[2] = {0, 0, 0, 2, false};
    EXPECT_EQ(errorOf(units), "world[2].side: a value that does not fit its width");
    struct Wrong {
        std::uint8_t value = 1;
        void serialize(CommonSerializer& serializer) { serializer.transferBits("it", value, 9); }
    } wrong;
    EXPECT_EQ(errorOf(wrong), "world.it: a width that its type does not have");
    Common::Ref<Common::Identifiable> object(new Common::Identifiable("Thing"));
    EXPECT_EQ(errorOf(object), "world: a reference to an object that has no number");
    units.resize(1);
    units[0] = {2047, 0, 0, 0, false};
    Bufferizer open(1);
    open.transfer("world", units);
    EXPECT_TRUE(open.getMessages(1).empty() && !open.getBaseline()) << "not finished";
    ASSERT_TRUE(open.finish());
    EXPECT_TRUE(open.getMessages(1, kHeader).empty());
    EXPECT_EQ(open.getError(), "no memory for the messages, a size that none has, or too many");
    std::vector<std::vector<Unit>> other;
    EXPECT_EQ(read(write(units, 1), other),
              "world[0]: a number of items beyond the end of the record");
    int number = 0;
    EXPECT_EQ(read(write(units, 1), number), "something behind the last value");
    std::vector<bool> bits(1000);
    const StateParts parts = partsOf(write(bits, 1));
    Bufferizer limited(parts, {}, {.bytes = 16 * 900});
    limited.transfer("bits", bits);
    EXPECT_NE(limited.getError().find("a state that is too large"), std::string::npos);
    std::int16_t small = 5;
    number = 1 << 20;
    EXPECT_EQ(read(write(number, 1), small), "world: a value that its type does not have");
}

// The fields of the two sides have the same widths and differ otherwise. The reader notices it.
TEST(Bufferizer, ClassesHaveToAgree) {
    struct Either {
        int of = 0;
        int a = 1, b = 2;
        unsigned u = 1;
        double range = 0.5;
        std::vector<int> items{3};
        void serialize(CommonSerializer& s) {
            s.transferBits(of == 1 ? "b" : "a", of == 1 ? b : a, 8);
            s.transferBits(of == 1 ? "a" : "b", of == 1 ? a : b, 8);
            s.transferFixed("range", range, 0, of == 2 ? 2 : 1, 16);
            of == 3 ? s.transferBits("c", u, 8) : s.transferBits("c", a, 8);
            of == 4 ? s.transfer("d", u) : s.transfer("d", a);
            s.transfer(of == 5 ? "people" : "items", items);
        }
    };
    Either sent, back;
    EXPECT_EQ(read(write(sent, 1), back), "");
    for (back.of = 1; back.of <= 5; ++back.of) {
        EXPECT_EQ(read(write(sent, 1), back), "a state that is not what was sent: the classes of "
                                              "the two sides differ, perhaps")
            << back.of;
    }
}

// Changes some values, sometimes almost all.
void change(Values& values, std::mt19937& random) {
    const auto at = [&](std::size_t size) { return random() % std::max<std::size_t>(size, 1); };
    const auto number = [&] { return static_cast<int>(at(9)); };
    const std::function<void()> kChanges[] = {
        [&] { values.flag = !values.flag; },
        [&] { values.tiny = static_cast<std::int8_t>(random()); },
        [&] { values.huge = std::uint64_t{random()} << random() % 32; },
        [&] { values.real = static_cast<float>(random()); },
        [&] { values.text.assign(at(200), static_cast<char>('a' + at(26))); },
        [&] { values.positions.resize(at(9)); },
        [&] { values.row.resize(at(40), 1.5); },
        [&] { values.flags.resize(at(20), true); },
        [&] { values.nested.resize(at(5), std::vector<int>(3, 1)); },
        [&] { values.byName[std::to_string(number())].x += 1; },
        [&] { values.byNumber.erase(number()); },
        [&] { values.byNumber[number()] += 'x'; },
        [&] { values.maybe.reset(); },
        [&] { values.maybe.emplace().y = 3; },
    };
    for (auto count = random() % 4 == 0 ? 20 : random() % 3; count != 0; --count) {
        kChanges[at(std::size(kChanges))]();
        if (!values.row.empty()) {
            values.row[at(values.row.size())] += 1;
        }
        if (!values.text.empty()) {
            values.text[at(values.text.size())] = 'z';
        }
    }
}

// Each state is written beside any earlier one, and read back as it was.
TEST(Bufferizer, StatesComeBack) {
    for (unsigned seed = 0; seed < 30; ++seed) {
        std::mt19937 random(seed);
        Values values = someValues();
        std::vector<Baseline> sent(1), received(1);
        for (std::uint32_t number = 1; number < 30; ++number) {
            const std::size_t base = random() % sent.size();
            Baseline line, readLine = received[base];
            const Messages messages = write(values, number, sent[base], &line);
            Values back = seed % 2 == 0 ? Values{} : someValues();
            ASSERT_EQ(read(messages, back, &readLine), "") << seed << ' ' << number;
            ASSERT_EQ(back, values) << seed << ' ' << number;
            ASSERT_LE(sizeOf(write(values, number + 1, line)), kHeader + 6) << "nothing changed";
            sent.push_back(line);
            received.push_back(readLine);
            change(values, random);
        }
    }
}

TEST(Bufferizer, OnlyWhatChangedIsWritten) {
    std::pair fleet(std::vector<Unit>(1000), std::vector<float>(1000)), back = fleet, empty = fleet;
    Baseline base, received;
    const Messages whole = write(fleet, 1, {}, &base);
    ASSERT_EQ(read(whole, back, &received), "");
    EXPECT_EQ(sizeOf(write(fleet, 2, base)), kHeader + 1);
    fleet.first[500].kind = 77;
    fleet.second[700] = 1;
    const Messages delta = write(fleet, 2, base);
    // Bits: for the whole and the units; their number; one for each; the fields of one; its kind;
    // the floats and their number; one for each block; a block.
    EXPECT_EQ(sizeOf(delta), kHeader + (2 + 1 + 1000 + 5 + 12 + 2 + 63 + 512 + 7) / 8);
    EXPECT_EQ(read(delta, back), "a state that belongs to another base line") << "there is none";
    Baseline other;
    empty.first.clear();
    write(empty, 1, {}, &other);
    EXPECT_EQ(read(delta, back, &other), "a state that belongs to another base line")
        << "of the same number";
    EXPECT_NE(back, fleet);
    EXPECT_EQ(read(delta, back, &received), "");
    EXPECT_EQ(back, fleet);
    Bufferizer backwards(1, received);
    EXPECT_FALSE(backwards.isGood());
}

TEST(Bufferizer, DamagedMessagesAreRefused) {
    Values values = someValues();
    Baseline base, received;
    Values back;
    ASSERT_EQ(read(write(values, 1, {}, &base), back, &received), "");
    values.text = "another";
    for (const Messages& messages : {write(values, 2), write(values, 2, base)}) {
        const std::string bytes = bytesOf(messages[0]);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            std::string altered = bytes;
            altered[i] = static_cast<char>(altered[i] ^ 0x20);
            for (const std::string& bad : {bytes.substr(0, i), altered}) {
                StateParts parts;
                ASSERT_EQ(parts.add(messageOf(bad)), StateParts::Added::kRefused) << i;
                ASSERT_FALSE(parts.isComplete());
                ASSERT_EQ(Bufferizer(parts, received).getError(),
                          "a state of which parts are missing");
            }
        }
    }
}

TEST(Bufferizer, MessagesAreAsLargeAsAllowed) {
    std::vector<std::uint8_t> bytes(1000, 7), back;
    Bufferizer writing(1);
    writing.transfer("world", bytes);
    ASSERT_TRUE(writing.finish());
    const std::size_t whole = sizeOf(writing.getMessages(1)) - kHeader;
    for (const std::size_t most : {kHeader + 1, kHeader + 500, std::size_t{65'535}}) {
        StateParts parts(whole), small(whole - 1);
        const Messages messages = writing.getMessages(1, most);
        EXPECT_EQ(messages.size(), (whole - 1) / (most - kHeader) + 1);
        for (const Mail::Message& message : messages) {
            EXPECT_LE(message.getSize(), most);
            EXPECT_EQ(small.add(message), StateParts::Added::kRefused);
            parts.add(message);
        }
        EXPECT_EQ(read(parts, back), "");
        EXPECT_EQ(back, bytes);
    }
    EXPECT_TRUE(writing.getMessages(1, 65'536).empty());
}

TEST(Bufferizer, LargeStatesArePutTogether) {
    using Added = StateParts::Added;
    std::mt19937 random(1);
    std::vector<std::uint32_t> numbers(100'000);
    std::ranges::generate(numbers, random);
    Messages messages = write(numbers, 5);
    ASSERT_GT(messages.size(), 5U);
    for (const Mail::Message& message : messages) {
        ASSERT_LE(message.getSize(), 65'507U) << "a datagram's";
    }
    std::vector<std::uint32_t> back, others(100'000, 300);
    const Messages older = write(others, 4), same = write(others, 5);
    std::shuffle(messages.begin(), messages.end(), random);
    StateParts parts;
    EXPECT_EQ(parts.add(older[0]), Added::kWaiting);
    for (std::size_t i = 0; i + 1 < messages.size(); ++i) {
        EXPECT_EQ(parts.add(messages[i]), Added::kWaiting);
        EXPECT_EQ(parts.add(messages[i / 2]), Added::kDuplicate);
        EXPECT_EQ(parts.add(older[1]), Added::kOld);
        EXPECT_EQ(parts.add(same[1]), Added::kRefused) << "a mixture";
        EXPECT_EQ(parts.getMissing(), messages.size() - i - 1);
    }
    EXPECT_EQ(parts.getDropped(), 1U);
    EXPECT_EQ(parts.add(messages.back()), Added::kComplete);
    EXPECT_EQ(parts.add(messages[2]), Added::kDuplicate);
    EXPECT_EQ(read(parts, back), "");
    EXPECT_EQ(back, numbers);
    parts.clear();
    EXPECT_EQ(parts.add(older[1]), Added::kWaiting);
}

} // namespace

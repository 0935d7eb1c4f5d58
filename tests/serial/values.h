// A class with every kind of value.
#pragma once

#include "Serial/Containers.h"
#include "support/test.h"

namespace qz::test {

enum class Colour : std::int16_t { kRed = -3, kGreen = 700 };

struct Position {
    float x = 0;
    double y = 0;
    void serialize(Common::CommonSerializer& serializer) {
        serializer.transfer("x", x);
        serializer.transfer("y", y);
    }
    bool operator==(const Position&) const = default;
};

struct Outside {
    int value = 0;
    bool operator==(const Outside&) const = default;
};
inline void serialize(Common::CommonSerializer& serializer, Outside& outside) {
    serializer.transfer(outside.value);
}

// Every kind of value.
struct Values {
    bool flag = false;
    char letter = 0;
    std::int8_t tiny = 0;
    short small = 0;
    int number = 0;
    long long large = 0;
    std::uint64_t huge = 0;
    float real = 0;
    double precise = 0;
    Colour colour{};
    std::string text;
    std::vector<Position> positions;
    std::vector<double> row;
    std::vector<bool> flags;
    std::vector<std::vector<int>> nested;
    qz::deque<std::string> queue;
    qz::list<int> list;
    std::map<std::string, Position> byName;
    std::unordered_map<int, std::string> byNumber;
    std::multimap<int, std::string> several;
    std::set<std::string> names;
    std::unordered_set<int> numbers;
    std::multiset<int> dice;
    std::unordered_multiset<int> throws;
    std::unordered_multimap<int, int> owners;
    std::pair<int, std::string> pair;
    std::optional<Position> maybe, none{Position{}};
    std::array<float, 3> fixed{};
    Outside outside[2];

    void serialize(Common::CommonSerializer& s) {
        s.transfer("flag", flag);
        s.transfer("letter", letter);
        s.transfer("tiny", tiny);
        s.transfer("small", small);
        s.transfer("number", number);
        s.transfer("large", large);
        s.transfer("huge", huge);
        s.transfer("real", real);
        s.transfer("precise", precise);
        s.transfer("colour", colour);
        s.transfer("text", text);
        s.transfer("positions", positions);
        s.transfer("row", row);
        s.transfer("flags", flags);
        s.transfer("nested", nested);
        s.transfer("queue", queue);
        s.transfer("list", list);
        s.transfer("byName", byName);
        s.transfer("byNumber", byNumber);
        s.transfer("several", several);
        s.transfer("names", names);
        s.transfer("numbers", numbers);
        s.transfer("dice", dice);
        s.transfer("throws", throws);
        s.transfer("owners", owners);
        s.transfer("pair", pair);
        s.transfer("maybe", maybe);
        s.transfer("none", none);
        s.transfer("fixed", fixed);
        s.transfer("outside", outside);
    }
    bool operator==(const Values&) const = default;
};

inline Values someValues() {
    return {.flag = true,
            .letter = 'q',
            .tiny = -128,
            .small = std::numeric_limits<short>::min(),
            .number = std::numeric_limits<int>::max(),
            .large = std::numeric_limits<long long>::min(),
            .huge = std::numeric_limits<std::uint64_t>::max(),
            .real = -0.0F,
            .precise = std::numeric_limits<double>::denorm_min(),
            .colour = Colour::kGreen,
            .text = std::string("a\0b", 3),
            .positions = {{1, 2}, {3, 4}},
            .row = {1.5, -2.5},
            .flags = {true, false, true},
            .nested = {{}, {1, -1}, {}},
            .queue = {"one", "two"},
            .list = {-5, 5},
            .byName = {{"a", {5, 6}}, {"b", {7, 8}}},
            .byNumber = {{9, "nine"}, {-1, "minus one"}, {4, "four"}},
            .several = {{1, "b"}, {1, "a"}, {0, "c"}},
            .names = {"x", "y"},
            .numbers = {30, 10, 20},
            .dice = {6, 1, 6},
            .throws = {5, 2, 5},
            .owners = {{8, 4}, {3, 9}, {8, 4}},
            .pair = {-70000, "pair"},
            .maybe = Position{9, 10},
            .none = std::nullopt,
            .fixed = {1, 2, 3},
            .outside = {{}, {42}}};
}

} // namespace qz::test

#include "Serial/CommonSerializer.h"

#include "Serial/MathTypes.h"
#include "serial/saved.h"
#include "serial/values.h"

namespace {

using Common::CommonSerializer;

class Serializer : public ::testing::Test {
protected:
    Common::FactoryManager factories;
};

TEST_F(Serializer, ValuesComeBack) {
    Values values = someValues();
    const std::string bytes = save(values);
    Values read;
    read.positions.resize(9);
    read.byNumber[1234] = "gone";
    EXPECT_EQ(load(bytes, read, factories), "");
    EXPECT_EQ(read, values);
    EXPECT_EQ(save(read), bytes) << "whatever order the unordered map has";
    // Damaged ones change nothing.
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        read = {};
        EXPECT_NE(load(bytes.substr(0, i), read, factories), "") << i;
        std::string altered = bytes;
        altered[i] = static_cast<char>(altered[i] ^ 0x10);
        EXPECT_NE(load(altered, read, factories), "") << i;
        EXPECT_EQ(read, Values{}) << i;
    }
}

// The format as it is documented.
TEST_F(Serializer, BytesAreTheSameEverywhere) {
    struct {
        std::vector<int> numbers{-1, 300};
        float real = 1;
        std::string text = "ab";
        void serialize(CommonSerializer& s) {
            s.transfer(numbers);
            s.transfer(real);
            s.transfer(text);
        }
    } value;
    const std::string body("\3\13\0\2\1\xD8\4\0\0\x80\x3F\2ab", 14);
    EXPECT_EQ(save(value, 3), fileWith(body));
}

TEST_F(Serializer, TypesOfTheLibraryFit) {
    const auto loaded = [&]<class T>(T value) {
        T read{};
        EXPECT_EQ(load(save(value), read, factories), "");
        return read;
    };
    EXPECT_EQ(loaded(Math::Vector<3, float>{1, 2, 3}).z, 3);
    EXPECT_EQ(loaded(Math::Matrix<4, double>().set(7))[3][3], 7);
    EXPECT_EQ(loaded(Math::Rotation3<double>{1, 2, 3, 4}).w, 4);
    nMatrix<double> shape(2, 3);
    shape[1][2] = 9;
    shape = loaded(shape);
    EXPECT_TRUE(shape.Rows() == 2 && shape.Cols() == 3 && shape[1][2] == 9);
    const auto random = [] { return RandomObject(RandomObject::kNormal, 77); };
    EXPECT_EQ(loaded(random()).get(), random().get());
    GenerativeRandomizer generative{5};
    generative.next();
    GenerativeRandomizer again = loaded(generative);
    EXPECT_EQ(again.getSeed0(), 5U);
    EXPECT_EQ(again.next(), generative.next());
    EXPECT_EQ(loaded(UnsignedLongRandomizer{6}).getSeed(), 6U);
}

// Two of these contain each other.
struct Knot {
    Knot* other;
    void serialize(CommonSerializer& serializer) { serializer.transfer("other", *other); }
};

TEST_F(Serializer, ErrorsTellWhere) {
    struct Flags {
        std::vector<std::map<int, std::vector<bool>>> units;
        void serialize(CommonSerializer& s) { s.transfer("units", units); }
    } flags;
    struct Deep {
        std::vector<Deep> inner;
        void serialize(CommonSerializer& s) { s.transfer("inner", inner); }
    } deep;
    struct Nothing {
        void serialize(CommonSerializer&) {}
    };
    struct Tree {
        std::vector<Nothing> leaves{3};
        void serialize(CommonSerializer& s) { s.transfer("leaves", leaves); }
    } tree;
    short small = 5;
    // Two units. The second has an entry with a flag of 2.
    EXPECT_EQ(load(fileWith(std::string("\0\6\0\2\0\1\0\1\2", 9)), flags, factories),
              "world.units[1][0].value[0]: a value that its type does not have");
    EXPECT_EQ(flags.units.size(), 1U) << "those before the error";
    EXPECT_EQ(load(fileWith(std::string("\0\1\0\x7F", 4)), flags, factories),
              "world.units: a number of items beyond the end of the record");
    EXPECT_EQ(load(fileWith(std::string("\0\6\0\1\2\0\0\0\0", 9)), flags, factories),
              "world.units[0][1]: a key that is there already");
    EXPECT_EQ(load(fileWith(std::string("\0\3\0\x80\x80\4", 6)), small, factories),
              "world: a value that its type does not have");
    EXPECT_EQ(load(fileWith(std::string("\0\0\0", 3)), small, factories),
              "world: the record ends before the value");
    EXPECT_EQ(load(fileWith(std::string("\0\1\0\1\1", 5)), small, factories),
              "something behind the last object");
    EXPECT_EQ(load("text that is something else", small, factories), "no file of saved objects");
    EXPECT_EQ(load(save(small), small, factories, {.bytes = 3}),
              "a file that is longer than allowed");
    EXPECT_EQ(small, -1) << "the one that was read before the rest was found too long";
    EXPECT_EQ(save(tree), "error: world.leaves: items without contents");
    deep.inner.resize(1);
    EXPECT_EQ(load(save(deep), deep, factories, {.depth = 2}),
              "world.inner[0]: values too deep within each other");
    Knot knots[2] = {{&knots[1]}, {&knots[0]}};
    EXPECT_TRUE(save(knots[0]).ends_with(".other: values too deep within each other"));
    struct Ender : Common::SerializableObject {
        Ender() : SerializableObject("Ender") {}
        void serialize(CommonSerializer& s) override { EXPECT_FALSE(s.finish()); }
    };
    Common::Ref<Ender> ender(new Ender);
    constexpr char kEnded[] = "a class has called finish, or has thrown an exception";
    EXPECT_EQ(save(*ender), "error: world: "s + kEnded);
    EXPECT_EQ(save(ender), "error: world: "s + kEnded);
}

} // namespace

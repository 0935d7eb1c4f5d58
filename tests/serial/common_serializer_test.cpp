#include "Serial/CommonSerializer.h"

#include "Serial/MathTypes.h"
#include "serial/saved.h"
#include "serial/values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Common::CommonSerializer;
using qz::test::fileWith;
using qz::test::load;
using qz::test::save;
using qz::test::someValues;
using qz::test::Values;

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
    struct {
        Math::Vector<3, float> vector{1, 2, 3};
        Math::Matrix<4, double> matrix = Math::Matrix<4, double>().set(7);
        Math::Rotation3<double> rotation{1, 2, 3, 4};
        nMatrix<double> shape = nMatrix<double>(2, 3);
        RandomObject random{RandomObject::kNormal, 77};
        GenerativeRandomizer generative{5};
        UnsignedLongRandomizer plain{6};
        void serialize(CommonSerializer& s) {
            s.transfer(vector);
            s.transfer(matrix);
            s.transfer(rotation);
            s.transfer(shape);
            s.transfer(random);
            s.transfer(generative);
            s.transfer(plain);
        }
    } saved, read{{}, {}, {}, {}, RandomObject{}, GenerativeRandomizer{}, UnsignedLongRandomizer{}};
    saved.generative.next();
    saved.shape[1][2] = 9;
    EXPECT_EQ(load(save(saved), read, factories), "");
    EXPECT_EQ(read.vector.z, 3);
    EXPECT_EQ(read.matrix[3][3], 7);
    EXPECT_EQ(read.rotation.w, 4);
    EXPECT_TRUE(read.shape.Rows() == 2 && read.shape.Cols() == 3 && read.shape[1][2] == 9);
    EXPECT_EQ(read.random.get(), RandomObject(RandomObject::kNormal, 77).get());
    EXPECT_EQ(read.generative.getSeed0(), 5U);
    EXPECT_EQ(read.generative.next(), saved.generative.next());
    EXPECT_EQ(read.plain.getSeed(), 6U);
}

TEST_F(Serializer, DamagedFilesChangeNothing) {
    Values values = someValues();
    const std::string bytes = save(values);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        Values read;
        EXPECT_NE(load(bytes.substr(0, i), read, factories), "") << i;
        std::string altered = bytes;
        altered[i] = static_cast<char>(altered[i] ^ 0x10);
        EXPECT_NE(load(altered, read, factories), "") << i;
        EXPECT_EQ(read, Values{}) << i;
    }
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
}

} // namespace

#include "Math/Predictor.h"
#include "Math/RateMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// Exact in binary, so that results can be compared exactly.
constexpr double kThree[] = {0.25, 0.5, 2};
constexpr double kFour[] = {0.125, 0.25, 0.5, 2};

template<class Predictor>
struct Coefficients;
template<>
struct Coefficients<Math::Predictor3> {
    static constexpr const double* c = kThree;
};
template<>
struct Coefficients<Math::Predictor4> {
    static constexpr const double* c = kFour;
};

template<class Predictor>
class PredictorTest : public testing::Test {
protected:
    Predictor started() const {
        Predictor predictor;
        predictor.init(10, 3, c);
        return predictor;
    }

    const double* c = Coefficients<Predictor>::c;
};
using Predictors = testing::Types<Math::Predictor3, Math::Predictor4>;
TYPED_TEST_SUITE(PredictorTest, Predictors);

TYPED_TEST(PredictorTest, StartsFromValueAndVelocityAndMovesEvenly) {
    TypeParam predictor = this->started();
    EXPECT_EQ(predictor.value(), (10 - 1.5 * 0.5) / 2);
    EXPECT_EQ(predictor.vel(this->c), 3);
    predictor.step(4, this->c);
    EXPECT_EQ(predictor.value(), (10 - 1.5 * 0.5) / 2 + 4 * 1.5);
}

TYPED_TEST(PredictorTest, ManyStepsAreAsManySingleOnes) {
    TypeParam at_once = this->started(), one_by_one = this->started();
    at_once.update(10.3);
    one_by_one.update(10.3);
    at_once.step(0, this->c);
    at_once.step(-7, this->c);
    at_once.step(std::numeric_limits<int>::min(), this->c);
    EXPECT_EQ(at_once.value(), one_by_one.value());
    at_once.step(13, this->c);
    for (int i = 0; i < 13; ++i) {
        one_by_one.step(1, this->c);
    }
    EXPECT_EQ(at_once.value(), one_by_one.value());
    EXPECT_EQ(at_once.vel(this->c), one_by_one.vel(this->c));
}

TYPED_TEST(PredictorTest, ADeadBandKeepsSmallDeviationsOut) {
    const double quiet = this->started().vel(this->c);
    for (const double inside : {10.5, 9.5, kNan}) {
        TypeParam predictor = this->started();
        predictor.update(50);
        predictor.update(inside, 0.5);
        EXPECT_EQ(predictor.vel(this->c), quiet);
    }
    TypeParam predictor = this->started();
    predictor.update(9, 0.5);
    EXPECT_EQ(predictor.vel(this->c), quiet - this->c[0]);
}

// With all registers moving, each order of freezing is told by what still moves afterwards.
TYPED_TEST(PredictorTest, FreezingLeavesTheLowOrders) {
    constexpr int kHighest = std::is_same_v<TypeParam, Math::Predictor3> ? 2 : 3;
    TypeParam moving = this->started();
    moving.update(11);
    moving.step(6, this->c);
    for (int order = 0; order <= kHighest; ++order) {
        TypeParam predictor = moving;
        predictor.freeze(order);
        EXPECT_EQ(predictor.value(), moving.value());
        // A polynomial of that degree: its next difference vanishes.
        double values[6];
        for (double& value : values) {
            value = predictor.value();
            predictor.step(1, this->c);
        }
        for (int difference = 0; difference < order; ++difference) {
            EXPECT_NE(values[1], values[0]);
            for (int i = 0; i < 5 - difference; ++i) {
                values[i] = values[i + 1] - values[i];
            }
        }
        EXPECT_EQ(values[1], values[0]) << order;
    }
    for (const int order : {-1, -100, std::numeric_limits<int>::min()}) {
        TypeParam predictor = moving;
        predictor.freeze(order);
        EXPECT_EQ(predictor.value(), 0);
    }
    TypeParam predictor = moving;
    predictor.freeze(std::numeric_limits<int>::max());
    EXPECT_EQ(predictor.value(), moving.value());
}

TEST(Predictor4, HasAnAcceleration) {
    Math::Predictor4 predictor;
    predictor.init(10, 3, kFour);
    EXPECT_EQ(predictor.acc(kFour), 0);
    predictor.update(14); // e = 4
    EXPECT_EQ(predictor.acc(kFour), 0.25 * 4);
    EXPECT_EQ(predictor.vel(kFour), 3 + 0.125 * 4);
    predictor.step(2, kFour); // d3 = 8, d2 = 4
    EXPECT_EQ(predictor.acc(kFour), 2 * 4 + 0.5 * 8 + 0.25 * 4);
}

TEST(RateMeter, ApproachesTheRate) {
    Math::RateMeter meter{0, 0, 2};
    meter.update(0.5, 5);
    EXPECT_DOUBLE_EQ(meter.rate, 10 - 10 * std::exp(-1.0));
    const Math::RateMeter before = meter;
    for (const double not_later : {0.5, 0.25, kNan}) {
        meter.update(not_later, 1000);
        EXPECT_EQ(meter.rate, before.rate);
        EXPECT_EQ(meter.time, before.time);
    }
    for (int i = 0; i < 100; ++i) {
        meter.update(meter.time + 0.5, 5);
    }
    EXPECT_NEAR(meter.rate, 10, 1e-12);
}

} // namespace

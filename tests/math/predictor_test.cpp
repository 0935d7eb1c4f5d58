#include "Math/Predictor.h"
#include "Math/RateMeter.h"
#include "support/test.h"

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr int kLeast = std::numeric_limits<int>::min();

// Exact in binary, so that results can be compared exactly. Predictor3 takes the last three.
constexpr double kCoefficients[] = {0.125, 0.25, 0.5, 2};

template<class Predictor>
struct PredictorTest : testing::Test {
    static constexpr int kRegisters = std::is_same_v<Predictor, Math::Predictor3> ? 3 : 4;

    PredictorTest() { started.init(10, 3, coefficients); }

    const double* coefficients = kCoefficients + (4 - kRegisters);
    Predictor started;
};
using Predictors = testing::Types<Math::Predictor3, Math::Predictor4>;
TYPED_TEST_SUITE(PredictorTest, Predictors);

TYPED_TEST(PredictorTest, MovesEvenlyUntilASampleArrives) {
    const double* const c = this->coefficients;
    TypeParam& predictor = this->started;
    const double start = (10 - 1.5 * 0.5) / 2;
    EXPECT_EQ(predictor.value(), start);
    EXPECT_EQ(predictor.vel(c), 3);
    for (const int none : {0, -7, kLeast}) {
        predictor.step(none, c);
    }
    predictor.step(4, c);
    EXPECT_EQ(predictor.value(), start + 4 * 1.5);

    TypeParam oneByOne = predictor;
    predictor.update(10.3);
    oneByOne.update(10.3);
    predictor.step(13, c);
    for (int i = 0; i < 13; ++i) {
        oneByOne.step(1, c);
    }
    EXPECT_EQ(predictor.value(), oneByOne.value());
    EXPECT_EQ(predictor.vel(c), oneByOne.vel(c));
}

TYPED_TEST(PredictorTest, ADeadBandKeepsSmallDeviationsOut) {
    const double* const c = this->coefficients;
    TypeParam& predictor = this->started;
    for (const double inside : {10.5, 9.5, kNan}) {
        predictor.update(50);
        predictor.update(inside, 0.5);
        EXPECT_EQ(predictor.vel(c), 3);
    }
    predictor.update(9, 0.5);
    EXPECT_EQ(predictor.vel(c), 3 - c[0]);
}

// Frozen at an order, the output runs along a polynomial of that degree.
TYPED_TEST(PredictorTest, FreezingLeavesTheLowOrders) {
    const double* const c = this->coefficients;
    TypeParam& moving = this->started;
    moving.update(11);
    moving.step(6, c);
    for (int order = 0; order < this->kRegisters; ++order) {
        TypeParam predictor = moving;
        predictor.freeze(order);
        EXPECT_EQ(predictor.value(), moving.value());
        double values[6];
        for (double& value : values) {
            value = predictor.value();
            predictor.step(1, c);
        }
        for (int difference = 0; difference < order; ++difference) {
            EXPECT_NE(values[1], values[0]);
            for (int i = 0; i < 5 - difference; ++i) {
                values[i] = values[i + 1] - values[i];
            }
        }
        EXPECT_EQ(values[1], values[0]) << order;
    }
    for (const int negative : {-1, -100, kLeast}) {
        TypeParam predictor = moving;
        predictor.freeze(negative);
        EXPECT_EQ(predictor.value(), 0);
    }
}

TEST(Predictor4, HasAnAcceleration) {
    Math::Predictor4 predictor;
    predictor.init(10, 3, kCoefficients);
    EXPECT_EQ(predictor.acc(kCoefficients), 0);
    predictor.update(14);             // e = 4
    predictor.step(2, kCoefficients); // d3 = 8, d2 = 4
    EXPECT_EQ(predictor.acc(kCoefficients), 2 * 4 + 0.5 * 8 + 0.25 * 4);
}

TEST(RateMeter, ApproachesTheRate) {
    Math::RateMeter meter{0, 0, 2};
    meter.update(0.5, 5);
    EXPECT_DOUBLE_EQ(meter.rate, 10 - 10 * std::exp(-1.0));
    const Math::RateMeter before = meter;
    for (const double notLater : {0.5, 0.25, kNan}) {
        meter.update(notLater, 1000);
        EXPECT_EQ(meter.rate, before.rate);
        EXPECT_EQ(meter.time, before.time);
    }
}

} // namespace

// Compares rotations with matrices that are made without quaternions.
#include "Math/Rotation3.h"
#include "support/test.h"

#include <Eigen/Dense>

#include <numbers>

namespace {

constexpr double kPi = std::numbers::pi;

using Column = Eigen::Vector3d;
using Table = Eigen::Matrix3d; // turns column vectors

Table turnAbout(const Column& axis, double angle) {
    return Eigen::AngleAxisd(angle, axis.normalized()).toRotationMatrix();
}

template<typename T>
Table turnAbout(int axis, T angle) {
    return turnAbout(Column::Unit(axis), double(angle));
}

template<typename T>
using Rotation = Math::Rotation3<T>;

template<typename T>
using Vector = Math::Vector<3, T>;

template<typename T>
class Rotation3Test : public testing::Test {
protected:
    static constexpr T kTolerance = std::is_same_v<T, float> ? T(3e-6) : T(1e-14);

    double angle(double low, double high) { return double(random(low, high)); }

    T random(double low, double high) {
        return T(std::uniform_real_distribution<double>(low, high)(generator_));
    }

    Column randomAxis() {
        for (;;) {
            const Column axis(angle(-1, 1), angle(-1, 1), angle(-1, 1));
            if (axis.norm() > 0.1 && axis.norm() < 1) {
                return axis;
            }
        }
    }

    static Vector<T> vector(const Column& column) {
        return {T(column.x()), T(column.y()), T(column.z())};
    }

    static Column column(const Vector<T>& vector) {
        return {double(vector.x), double(vector.y), double(vector.z)};
    }

    static Rotation<T> about(const Column& axis, double angle) {
        Rotation<T> rotation;
        rotation.setAngleAxis(T(angle), vector(axis));
        return rotation;
    }

    Rotation<T> randomRotation() { return about(randomAxis(), angle(-6, 6)); }

    static Table tableOf(const Rotation<T>& rotation) {
        Vector<T> axes[3];
        rotation.getBasis(&axes[0], &axes[1], &axes[2]);
        Table table;
        table << column(axes[0]), column(axes[1]), column(axes[2]);
        return table;
    }

    static void expectTurns(const Rotation<T>& rotation, const Table& expected) {
        const Table actual = tableOf(rotation);
        EXPECT_LE((actual - expected).norm(), 3 * double(kTolerance)) << actual;
    }

    static void expectNear(const Rotation<T>& actual, const Rotation<T>& expected,
                           T tolerance = kTolerance) {
        EXPECT_NEAR(actual.x, expected.x, tolerance);
        EXPECT_NEAR(actual.y, expected.y, tolerance);
        EXPECT_NEAR(actual.z, expected.z, tolerance);
        EXPECT_NEAR(actual.w, expected.w, tolerance);
    }

    static void expectSame(const Rotation<T>& actual, const Rotation<T>& expected) {
        expectNear(actual, expected, 0);
    }

private:
    std::mt19937 generator_{20261121};
};

using Precisions = testing::Types<float, double>;
TYPED_TEST_SUITE(Rotation3Test, Precisions);

static_assert(offsetof(Rotation<float>, x) == 0 && offsetof(Rotation<float>, w) == 12 &&
              sizeof(Rotation<float>) == 16);

TYPED_TEST(Rotation3Test, AngleAndAxis) {
    for (int round = 0; round < 1000; ++round) {
        const Column axis = this->randomAxis(); // not of unit length
        const double angle = this->angle(0.1, 6.2);
        const auto rotation = this->about(axis, angle);
        this->expectTurns(rotation, turnAbout(axis, angle));

        TypeParam angleBack;
        Vector<TypeParam> axisBack;
        rotation.getAngleAxis(angleBack, axisBack);
        const TypeParam tolerance = 100 * TestFixture::kTolerance;
        EXPECT_NEAR(angleBack, angle, tolerance);
        EXPECT_LE((this->column(axisBack) - axis.normalized()).norm(), 3 * tolerance);
    }
    EXPECT_TRUE(std::isnan(this->about({0, 0, 0}, 1).x));
    TypeParam angle;
    Vector<TypeParam> axis;
    Rotation<TypeParam>{}.getAngleAxis(angle, axis);
    EXPECT_EQ(angle, 0);
    EXPECT_TRUE(std::isnan(axis.y));
}

TYPED_TEST(Rotation3Test, ProductTurnsByTheSecondAndThenTheFirst) {
    for (int round = 0; round < 1000; ++round) {
        const auto a = this->randomRotation();
        const auto b = this->randomRotation();
        this->expectTurns(a * b, this->tableOf(a) * this->tableOf(b));
        // The sign of a quaternion does not show in its matrix.
        EXPECT_NEAR((a * b).w, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z, this->kTolerance);
        this->expectNear(Rotation<TypeParam>{} * a, a);
    }
}

TYPED_TEST(Rotation3Test, EulerAnglesInAllOrders) {
    constexpr int kAxes[6][3] = {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}, {0, 2, 1}, {1, 0, 2}, {2, 1, 0}};
    Rotation<TypeParam> rotation;
    for (int round = 0; round < 1200; ++round) {
        const int order = round % 6;
        const TypeParam a = this->random(-6, 6), b = this->random(-6, 6), c = this->random(-6, 6);
        rotation.setEulerAngles(static_cast<Math::RotationOrder>(order), a, b, c);
        this->expectTurns(rotation, turnAbout(kAxes[order][0], a) * turnAbout(kAxes[order][1], b) *
                                        turnAbout(kAxes[order][2], c));
    }
    for (const int none : {-1, 6, 1000000}) {
        rotation.setEulerAngles(static_cast<Math::RotationOrder>(none), 1, 2, 3);
        this->expectSame(rotation, {});
    }
}

TYPED_TEST(Rotation3Test, YawPitchRollThereAndBack) {
    Rotation<TypeParam> rotation;
    const double tolerance = std::is_same_v<TypeParam, float> ? 2e-3 : 1e-6;
    for (int round = 0; round < 5000; ++round) {
        const TypeParam yaw = this->random(0, 6.28), pitch = this->random(-1.5, 1.5);
        const TypeParam roll = this->random(-3.1, 3.1);
        rotation.setYawPitchRoll(yaw, pitch, roll);
        this->expectTurns(rotation, turnAbout(1, yaw) * turnAbout(2, pitch) * turnAbout(0, roll));
        TypeParam yawBack, pitchBack, rollBack;
        rotation.getYawPitchRoll(yawBack, pitchBack, rollBack);
        // Near the horizon an angle's cosine says little about the angle.
        EXPECT_NEAR(std::cos(yawBack - yaw), 1, tolerance);
        EXPECT_NEAR(pitchBack, pitch, tolerance);
        EXPECT_NEAR(std::cos(rollBack - roll), 1, tolerance);
        EXPECT_GE(yawBack, TypeParam(-1e-6));
        EXPECT_LT(yawBack, TypeParam(6.2831855));
    }
}

TYPED_TEST(Rotation3Test, YawPitchRollAtItsThresholds) {
    const auto back = [](const Rotation<TypeParam>& rotation) {
        Vector<TypeParam> angles;
        rotation.getYawPitchRoll(angles.x, angles.y, angles.z);
        return angles;
    };
    const auto thereAndBack = [&](double yaw, double pitch, double roll) {
        Rotation<TypeParam> rotation;
        rotation.setYawPitchRoll(TypeParam(yaw), TypeParam(pitch), TypeParam(roll));
        return back(rotation);
    };
    // Straight up and down only the pitch is kept, even if rounding takes its sine beyond 1.
    const TypeParam half = TypeParam(0.5);
    for (const TypeParam z : {half, -half, half + TypeParam(1e-6), -half - TypeParam(1e-6)}) {
        const auto angles = back({half, z > 0 ? half : -half, z, half});
        EXPECT_EQ(angles.x, 0);
        EXPECT_EQ(angles.y, std::asin(TypeParam(z > 0 ? 1 : -1)));
        EXPECT_EQ(angles.z, 0);
    }
    // Small negative yaws stay negative; larger ones get a full turn added.
    EXPECT_NEAR(back({0, TypeParam(-0.45e-6), 0, 1}).x, -0.9e-6, 1e-12);
    EXPECT_NEAR(thereAndBack(-1.1e-6, 0, 0).x, 2 * kPi - 1.1e-6, 1e-6);
    EXPECT_EQ(thereAndBack(-0.5, 0, 0).x, -TypeParam(0.5) + TypeParam(6.2831855F))
        << "two pi in single precision";
    // The sign of the roll.
    EXPECT_LT(thereAndBack(0, 0, -0.01).z, 0);
    EXPECT_GT(thereAndBack(0, 0, 0.01).z, 0);
    EXPECT_GE(thereAndBack(0, 0, -0.9e-6).z, 0);
    // Only in double precision a cosine near the threshold differs from that of straight up.
    if (std::is_same_v<TypeParam, double>) {
        EXPECT_NEAR(thereAndBack(1, kPi / 2 - 1e-5, 0).x, 1, 1e-3);
        EXPECT_EQ(thereAndBack(1, kPi / 2 - 1e-7, 0).x, 0);
    }
}

TYPED_TEST(Rotation3Test, FromToIsTheShortestTurn) {
    Rotation<TypeParam> rotation;
    for (int round = 0; round < 1000; ++round) {
        const Column from = this->randomAxis().normalized(), to = this->randomAxis().normalized();
        const double cosine = from.dot(to);
        if (cosine < -0.99) {
            continue;
        }
        rotation.setFromTo(this->vector(from), this->vector(to));
        const double tolerance = std::is_same_v<TypeParam, float> ? 2e-4 : 1e-8;
        EXPECT_LE((this->tableOf(rotation) * from - to).norm(), tolerance);
        EXPECT_NEAR(rotation.w, std::cos(std::acos(cosine) / 2), tolerance);
        // The axis is perpendicular to the vectors.
        EXPECT_NEAR(this->column({rotation.x, rotation.y, rotation.z}).dot(from), 0, tolerance);
    }
    rotation.setFromTo({0, 1, 0}, {0, 1, 0});
    this->expectSame(rotation, {0, 0, 0, 1});
    rotation.setFromTo({0, 0, -1}, {0, 0, 1});
    this->expectSame(rotation, {0, 0, 0, 0});
    // Beyond unit length the cosine is clamped and the cross product is not scaled.
    rotation.setFromTo({2, 0, 0}, {2, 1, 0});
    this->expectSame(rotation, {0, 0, 2, 1});
}

TYPED_TEST(Rotation3Test, FromMatrixUndoesGetBasis) {
    int branches[4] = {};
    for (int round = 0; round < 2000; ++round) {
        const auto rotation = this->randomRotation();
        Math::Matrix<3, TypeParam> rows; // they are the columns of the table
        Eigen::Map<Eigen::Matrix<TypeParam, 3, 3>>(rows.elements) =
            this->tableOf(rotation).template cast<TypeParam>();
        Rotation<TypeParam> back;
        back.getBasis(nullptr, nullptr, nullptr);
        back.fromMatrix(rows);
        this->expectTurns(back, this->tableOf(rotation));
        const TypeParam axis[] = {std::fabs(back.x), std::fabs(back.y), std::fabs(back.z)};
        const bool isTrace = rows[0][0] + rows[1][1] + rows[2][2] >= 0;
        ++branches[isTrace ? 3 : std::max_element(axis, axis + 3) - axis];
    }
    for (const int count : branches) {
        EXPECT_GT(count, 100);
    }
}

// Matrices that are not rotations show which rule was applied.
TYPED_TEST(Rotation3Test, FromMatrixAtItsTies) {
    Rotation<TypeParam> rotation;
    rotation.fromMatrix({}); // trace exactly zero
    this->expectSame(rotation, {0, 0, 0, TypeParam(0.5)});
    const TypeParam root = std::sqrt(TypeParam(2)), large = root / 2, small = TypeParam(0.5) / root;
    rotation.fromMatrix({{0, 0.5, 0, 0.5, 0, 0, 0, 0, -1}}); // X and Y tie
    this->expectSame(rotation, {large, small, 0, 0});
    rotation.fromMatrix({{-1, 0, 0, 0, 0, 0.5, 0, 0.5, 0}}); // Y and Z tie
    this->expectSame(rotation, {0, large, small, 0});
    rotation.fromMatrix({{0, 0, 0.5, 0, -1, 0, 0.5, 0, 0}}); // X and Z tie
    this->expectSame(rotation, {large, 0, small, 0});
}

TYPED_TEST(Rotation3Test, Normalize) {
    const Rotation<TypeParam> rotation{2, 4, -6, 8};
    const TypeParam length = std::sqrt(TypeParam(120));
    this->expectNear(rotation.normalized(), {2 / length, 4 / length, -6 / length, 8 / length});
    this->expectSame((Rotation<TypeParam>{0, 0, 0, 0}.normalized()), {});
    const TypeParam nan = std::numeric_limits<TypeParam>::quiet_NaN();
    this->expectSame((Rotation<TypeParam>{1, nan, 0, 1}.normalized()), {});
}

TYPED_TEST(Rotation3Test, SlerpTurnsAtAnEvenPaceTheShorterWay) {
    for (int round = 0; round < 1000; ++round) {
        const auto from = this->randomRotation();
        const Column axis = this->randomAxis();
        const double angle = this->angle(0.7, 3.0); // d = cos(angle / 2) below 0.95
        auto to = from * this->about(axis, angle);
        const TypeParam t = this->random(-0.5, 1.5);
        const Table expected = this->tableOf(from) * turnAbout(axis, angle * double(t));
        this->expectTurns(Math::slerp<TypeParam>(from, to, t), expected);
        to = {-to.x, -to.y, -to.z, -to.w}; // the same turn
        this->expectTurns(Math::slerp(from, to, t), expected);
        this->expectNear(Math::slerp(from, to, 0), {-from.x, -from.y, -from.z, -from.w});
    }
}

TYPED_TEST(Rotation3Test, SlerpBlendsFromItsThresholdOn) {
    const Rotation<TypeParam> from{};
    const auto halfWay = [&](double cosine) {
        const TypeParam sine = TypeParam(std::sqrt(1 - cosine * cosine));
        const auto middle = Math::slerp(from, {sine, 0, 0, TypeParam(cosine)}, TypeParam(0.5));
        return std::hypot(double(middle.x), double(middle.w));
    };
    EXPECT_NEAR(halfWay(0.94999), 1, 1e-6);
    EXPECT_NEAR(halfWay(0.95001), std::sqrt((1 + 0.95001) / 2), 1e-6); // shorter than 1
    const Rotation<TypeParam> to{TypeParam(0.28), 0, 0, TypeParam(0.96)};
    const TypeParam a = 1 - TypeParam(0.25), b = TypeParam(0.25);
    this->expectSame(Math::slerp(from, to, 0.25), {b * to.x, 0, 0, a + b * to.w});
    this->expectSame(Math::slerp(from, to, 1), to);
}

TEST(SlerpTest, SinglePrecisionIsRoundedDoublePrecision) {
    for (int i = 0; i <= 950; ++i) {
        const float cosine = static_cast<float>(i) / 1000;
        const Rotation<float> to{std::sqrt(1 - cosine * cosine), 0, 0, cosine};
        const Rotation<double> sameTo{static_cast<double>(to.x), 0, 0, static_cast<double>(to.w)};
        for (const float t : {-0.5F, 0.0F, 0.3F, 0.5F, 0.99F, 1.0F, 1.5F}) {
            const auto rounded = Math::slerp(Rotation<float>{}, to, t);
            const auto exact = Math::slerp(Rotation<double>{}, sameTo, static_cast<double>(t));
            EXPECT_NEAR(static_cast<double>(rounded.x), exact.x, 1.2e-7) << cosine << ' ' << t;
            EXPECT_NEAR(static_cast<double>(rounded.w), exact.w, 1.2e-7) << cosine << ' ' << t;
        }
    }
}

} // namespace

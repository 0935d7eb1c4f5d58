// Compares with Eigen.
#include "Math/Matrix.h"

#include "Math/Vector.h"
#include "support/test.h"

#include <Eigen/Dense>

#include <type_traits>

namespace {

template<int N, typename T>
using Square = Eigen::Matrix<T, N, N, Eigen::RowMajor>;

template<int N, typename T>
Math::Matrix<N, T> matrixOf(const Square<N, T>& table) {
    Math::Matrix<N, T> matrix;
    Eigen::Map<Square<N, T>>{matrix.elements} = table;
    return matrix;
}

template<int N, typename T>
Square<N, T> tableOf(const Math::Matrix<N, T>& matrix) {
    return Eigen::Map<const Square<N, T>>(matrix.elements);
}

template<typename Table>
void expectNear(const Table& actual, const Table& expected) {
    const double tolerance = std::is_same_v<typename Table::Scalar, float> ? 2e-5 : 1e-12;
    EXPECT_LE(static_cast<double>((actual - expected).cwiseAbs().maxCoeff()), tolerance) << actual;
}

template<typename Table>
struct MatrixTest : testing::Test {};
using Tables = testing::Types<Square<2, float>, Square<3, float>, Square<4, float>,
                              Square<2, double>, Square<3, double>, Square<4, double>>;
TYPED_TEST_SUITE(MatrixTest, Tables);

TYPED_TEST(MatrixTest, SetAndTranspose) {
    const TypeParam random = TypeParam::Random(), transposed = random.transpose();
    auto m = matrixOf(random);
    m.set(2).elements[1] = 5; // row 0, column 1
    TypeParam expected = 2 * TypeParam::Identity();
    expected(0, 1) = 5;
    EXPECT_EQ(tableOf(m), expected);
    Math::transpose(m, matrixOf(random));
    EXPECT_EQ(tableOf(m), transposed);
    Math::transpose(m, m);
    EXPECT_EQ(tableOf(m), random);
    EXPECT_EQ(tableOf(m.transpose()), transposed);
}

TYPED_TEST(MatrixTest, Multiply) {
    for (int round = 0; round < 100; ++round) {
        const TypeParam a = TypeParam::Random(), b = TypeParam::Random(), expected = a * b;
        auto product = matrixOf(a);
        Math::multiply(product, product, matrixOf(b));
        expectNear(tableOf(product), expected);
        product = matrixOf(b);
        Math::multiply(product, matrixOf(a), product);
        expectNear(tableOf(product), expected);
    }
}

// Orthogonal columns of various lengths, a translation, and a last row that must not be read.
TYPED_TEST(MatrixTest, InvertOrtho) {
    constexpr int kLast = TypeParam::RowsAtCompileTime - 1;
    const TypeParam identity = TypeParam::Identity();
    for (int round = 0; round < 100; ++round) {
        TypeParam table = TypeParam::Random();
        auto block = table.template topLeftCorner<kLast, kLast>();
        const auto lengths = table.row(kLast).template head<kLast>().array() + 2;
        const Eigen::MatrixXd orthogonal =
            Eigen::MatrixXd::Random(kLast, kLast).householderQr().householderQ();
        block = orthogonal.cast<typename TypeParam::Scalar>() * lengths.matrix().asDiagonal();
        auto inverse = matrixOf(table);
        Math::invertOrtho(inverse, inverse);
        table.row(kLast) = identity.row(kLast);
        EXPECT_EQ(tableOf(inverse).row(kLast), identity.row(kLast));
        expectNear<TypeParam>(table * tableOf(inverse), identity);
    }
}

TEST(Vector, ComponentsByNameAndIndex) {
    Math::Vector<4, double> v{1, 2, 3, 4};
    v[3] = v[0] + v[1] + v[2];
    EXPECT_EQ(v.w, 6);
    static_assert(sizeof(Math::Vector<3, float>) == 3 * sizeof(float));
    static_assert(std::is_trivially_copyable_v<Math::Vector<4, double>> &&
                  std::is_standard_layout_v<Math::Vector<4, double>>);
}

} // namespace

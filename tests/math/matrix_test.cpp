#include "Math/Matrix.h"

#include "Math/Vector.h"
#include "support/test.h"

#include <type_traits>

namespace {

template<int N, typename T>
struct Shape {
    static constexpr int kSize = N;
    using Element = T;
    using Matrix = Math::Matrix<N, T>;
};

template<typename S>
using MatrixOf = typename S::Matrix;

template<typename S>
constexpr int kSize = S::kSize;

template<typename S>
class MatrixTest : public testing::Test {
protected:
    static constexpr int N = S::kSize;
    using T = typename S::Element;
    using Matrix = typename S::Matrix;

    Matrix random() {
        Matrix m;
        for (T& element : m.elements) {
            element = distribution_(generator_);
        }
        return m;
    }

    // Orthogonal columns of various lengths by Gram and Schmidt, a translation, and a last row that
    // must not be read.
    Matrix randomOrtho() {
        Matrix m = random();
        for (int c = 0; c < N - 1; ++c) {
            for (int earlier = 0; earlier < c; ++earlier) {
                const T share = columnDot(m, c, earlier) / columnDot(m, earlier, earlier);
                for (int r = 0; r < N - 1; ++r) {
                    m[r][c] -= share * m[r][earlier];
                }
            }
            const T length = (2 + distribution_(generator_)) / std::sqrt(columnDot(m, c, c));
            for (int r = 0; r < N - 1; ++r) {
                m[r][c] *= length;
            }
        }
        return m;
    }

    static void expectNear(const Matrix& actual, const Matrix& expected) {
        const T tolerance = std::is_same_v<T, float> ? T(2e-5) : T(1e-12);
        for (int i = 0; i < N * N; ++i) {
            EXPECT_NEAR(actual.elements[i], expected.elements[i], tolerance) << i;
        }
    }

    static void expectSame(const Matrix& actual, const Matrix& expected) {
        for (int i = 0; i < N * N; ++i) {
            EXPECT_EQ(actual.elements[i], expected.elements[i]) << i;
        }
    }

private:
    static T columnDot(const Matrix& m, int a, int b) {
        T sum = 0;
        for (int r = 0; r < N - 1; ++r) {
            sum += m[r][a] * m[r][b];
        }
        return sum;
    }

    std::mt19937 generator_{20261121};
    std::uniform_real_distribution<T> distribution_{-1, 1};
};

using Shapes = testing::Types<Shape<2, float>, Shape<3, float>, Shape<4, float>, Shape<2, double>,
                              Shape<3, double>, Shape<4, double>>;
TYPED_TEST_SUITE(MatrixTest, Shapes);

TYPED_TEST(MatrixTest, SetAndTranspose) {
    MatrixOf<TypeParam> m = this->random();
    m.set(2).elements[1] = 5; // row 0, column 1
    for (int r = 0; r < kSize<TypeParam>; ++r) {
        for (int c = 0; c < kSize<TypeParam>; ++c) {
            EXPECT_EQ(m[r][c], r == c ? 2 : r == 0 && c == 1 ? 5 : 0);
        }
    }
    const auto original = this->random();
    MatrixOf<TypeParam> transposed;
    Math::transpose(transposed, original);
    for (int r = 0; r < kSize<TypeParam>; ++r) {
        for (int c = 0; c < kSize<TypeParam>; ++c) {
            EXPECT_EQ(transposed[r][c], original[c][r]);
        }
    }
    m = original;
    Math::transpose(m, m);
    this->expectSame(m, transposed);
    this->expectSame(m.transpose(), original);
}

TYPED_TEST(MatrixTest, Multiply) {
    for (int round = 0; round < 100; ++round) {
        const auto a = this->random();
        const auto b = this->random();
        MatrixOf<TypeParam> expected;
        for (int i = 0; i < kSize<TypeParam>; ++i) {
            for (int j = 0; j < kSize<TypeParam>; ++j) {
                double sum = 0;
                for (int k = 0; k < kSize<TypeParam>; ++k) {
                    sum += static_cast<double>(a[i][k]) * static_cast<double>(b[k][j]);
                }
                expected[i][j] = static_cast<typename TypeParam::Element>(sum);
            }
        }
        auto product = a;
        Math::multiply(product, product, b);
        this->expectNear(product, expected);
        product = b;
        Math::multiply(product, a, product);
        this->expectNear(product, expected);
    }
}

TYPED_TEST(MatrixTest, InvertOrtho) {
    MatrixOf<TypeParam> identity;
    identity.set(1);
    for (int round = 0; round < 100; ++round) {
        const auto m = this->randomOrtho();
        auto inverse = m;
        Math::invertOrtho(inverse, inverse);
        auto affine = m;
        for (int c = 0; c < kSize<TypeParam>; ++c) {
            affine[kSize<TypeParam> - 1][c] = identity[kSize<TypeParam> - 1][c];
            EXPECT_EQ(inverse[kSize<TypeParam> - 1][c], identity[kSize<TypeParam> - 1][c]);
        }
        MatrixOf<TypeParam> product;
        Math::multiply(product, affine, inverse);
        this->expectNear(product, identity);
    }
}

TEST(Vector, ComponentsByNameAndIndex) {
    Math::Vector<4, double> v{1, 2, 3, 4};
    v[3] = v[0] + v[1] + v[2];
    EXPECT_EQ(v.w, 6);
    Math::Vector<3, float> u;
    u[1] = 7;
    EXPECT_EQ(u.x, 0);
    EXPECT_EQ(u.y, 7);
    static_assert(sizeof(Math::Vector<3, float>) == 3 * sizeof(float));
    static_assert(std::is_trivially_copyable_v<Math::Vector<4, double>> &&
                  std::is_standard_layout_v<Math::Vector<4, double>>);
}

} // namespace

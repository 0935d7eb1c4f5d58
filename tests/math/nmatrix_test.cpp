#include "Math/nMatrix.h"
#include "support/test.h"

#include <Eigen/Dense>

namespace {

using Matrix = nMatrix<double>;
using Reference = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

using Numbers = std::vector<double>;

Numbers elements(const Matrix& matrix) {
    Numbers all;
    for (unsigned i = 0; i < matrix.Rows(); ++i) {
        all.insert(all.end(), matrix[i].begin(), matrix[i].end());
    }
    return all;
}

Reference reference(const Matrix& matrix) {
    const Numbers all = elements(matrix);
    using Rows = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    return Eigen::Map<const Rows>(all.data(), matrix.Rows(), matrix.Cols()).cast<long double>();
}

template<class Element>
Matrix filled(unsigned n, Element element) {
    Numbers all;
    for (unsigned i = 0; i < n * n; ++i) {
        all.push_back(element(i / n, i % n));
    }
    return Matrix(n, all.data());
}

std::vector<Matrix> matricesOf(unsigned n) {
    std::mt19937 generator(n);
    std::uniform_real_distribution<double> number(-1, 1);
    const auto random = [&](unsigned, unsigned) { return number(generator); };
    const auto dominant = [&](unsigned i, unsigned j) { return number(generator) + n * (i == j); };
    const auto hilbert = [](unsigned i, unsigned j) { return 1.0 / (i + j + 1); };
    const auto graded = [&](unsigned i, unsigned) {
        return std::ldexp(number(generator), 6 * static_cast<int>(i) - 30);
    };
    return {filled(n, dominant), filled(n, random), filled(n, hilbert), filled(n, graded)};
}

// Compares with Eigen in extended precision. The condition number gives the tolerance.
TEST(NMatrix, AgreesWithEigenAsFarAsTheConditionAllows) {
    for (unsigned n = 1; n <= 12; ++n) {
        for (const Matrix& matrix : matricesOf(n)) {
            const Reference a = reference(matrix);
            const Eigen::PartialPivLU<Reference> lu(a);
            const Reference inverse = lu.inverse();
            const auto condition = static_cast<double>(a.norm() * inverse.norm());
            const double tolerance = 4 * n * kEpsilon * condition;

            const auto determinant = static_cast<double>(lu.determinant());
            EXPECT_NEAR(matrix.getDeterminantByLU() / determinant, 1, tolerance) << n;

            Matrix inverted = matrix;
            inverted.invertByLU();
            const Reference difference = reference(inverted) - inverse;
            EXPECT_LE(static_cast<double>(difference.norm() / inverse.norm()), tolerance) << n;
        }
    }
}

// Small whole numbers, so that every product and sum is exact.
TEST(NMatrix, ExpandsExactly) {
    std::mt19937 generator(3);
    std::uniform_int_distribution<int> digit(-2, 2);
    for (const unsigned n : {1U, 2U, 3U, 4U, 7U, 12U, 17U}) {
        const Matrix matrix = filled(n, [&](unsigned, unsigned) { return digit(generator); });
        const auto expected = std::round(static_cast<double>(reference(matrix).determinant()));
        EXPECT_EQ(matrix.getDeterminantByLeibniz(), expected) << n;
    }
    Matrix inverse(3, Numbers{2, 0, 1, 0, 4, 0, 3, 0, 2}.data()); // its determinant is 4
    inverse.invertByCofactors();
    EXPECT_EQ(elements(inverse), (Numbers{2, 0, -1, 0, 0.25, 0, -3, 0, 2}));
    Matrix one(1, Numbers{5}.data());
    one.invertByCofactors();
    EXPECT_EQ(one[0][0], 5);
}

TEST(NMatrix, LeavesWhatHasNoInverse) {
    const Matrix singular(3, Numbers{1, 2, 3, 2, 4, 6, 1, 1, 1}.data());
    const Matrix oblong(2, 3, Numbers{1, 2, 3, 4, 5, 6}.data());
    for (const Matrix& matrix : {singular, oblong, Matrix()}) {
        EXPECT_EQ(matrix.getDeterminantByLeibniz(), 0);
        EXPECT_EQ(matrix.getDeterminantByLU(), 0);
        Matrix inverse = matrix;
        inverse.invertByCofactors();
        inverse.invertByLU();
        EXPECT_EQ(elements(inverse), elements(matrix));
    }
    EXPECT_EQ(oblong.getCofactor(0, 0), 0);
    const Matrix two(2, Numbers{1, 2, 3, 4}.data());
    EXPECT_EQ(two.getCofactor(0, 1), -3);
    EXPECT_EQ(two.getCofactor(1, 1), 1);
    EXPECT_EQ(two.getCofactor(2, 2), 0);
}

TEST(NMatrix, TakesMemoryInFewSteps) {
    Matrix matrix;
    std::set<const void*> places;
    for (unsigned n = 1; n <= 1000; ++n) {
        matrix.resize(n, 1);
        places.insert(&matrix[0]);
    }
    EXPECT_LE(places.size(), 12U);
    EXPECT_NO_THROW(matrix.resize(0, UINT_MAX)) << "no row is that long";
}

TEST(NMatrix, ChangesItsShape) {
    Matrix matrix(2, 3, Numbers{1, 2, 3, 4, 5, 6}.data());
    EXPECT_EQ(elements(matrix.getTranspose()), (Numbers{1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(elements(matrix.getExtract(0, 1)), (Numbers{4, 6}));
    EXPECT_EQ(elements(matrix.getExtract(9, 9)), elements(matrix));
    matrix.resize(3, 2);
    EXPECT_EQ(elements(matrix), (Numbers{1, 2, 4, 5, 0, 0}));
    matrix.remove(1, 0);
    EXPECT_EQ(elements(matrix), (Numbers{2, 0}));
    matrix.diag(2, 3.0);
    EXPECT_EQ(elements(matrix), (Numbers{3, 0, 0, 3}));
    matrix.cov(2, Numbers{4, 9}.data());
    EXPECT_EQ(elements(matrix), (Numbers{4, 6, 6, 9}));
    matrix.diag(2, matrix[1].data());
    EXPECT_EQ(elements(matrix), (Numbers{6, 0, 0, 9}));
    matrix.init(2, Numbers{4, 9, 1, 1}.data());
    matrix.cov(2, matrix[0].data());
    EXPECT_EQ(elements(matrix), (Numbers{4, 6, 6, 9}));
    matrix.null();
    EXPECT_EQ(elements(matrix), (Numbers{0, 0, 0, 0}));
    matrix.clear();
    EXPECT_TRUE(matrix.isEmpty());
    EXPECT_EQ(matrix.Cols(), 0U);
}

TEST(NMatrix, Calculates) {
    const Matrix a(2, 3, Numbers{1, 2, 3, 4, 5, 6}.data());
    EXPECT_EQ(elements(a + a), elements(2 * a));
    EXPECT_EQ(elements(a - a * 0.5), elements(0.5 * a));
    EXPECT_EQ(elements(a * a.getTranspose()), (Numbers{14, 32, 32, 77}));
    Matrix square = a * a.getTranspose();
    square *= square;
    EXPECT_EQ(elements(square), (Numbers{1220, 2912, 2912, 6953}));
    EXPECT_TRUE((a * a).isEmpty());
    EXPECT_TRUE((a + a.getTranspose()).isEmpty());
    EXPECT_TRUE((a - a.getTranspose()).isEmpty());
    EXPECT_EQ(Math::pow(2, 0.5), std::pow(2, 0.5));
}

TEST(NMatrix, IsPrinted) {
    const std::string path = (freshDirectory() / "matrix.txt").string();
    const Matrix matrix(2, Numbers{1, 2.5, -3, 4}.data());
    fprint_matrix(path.c_str(), "wb", "first", matrix, "%.1f ");
    fprint_matrix(path.c_str(), "ab", "second", Matrix(1, 600), "%04.0f");
    EXPECT_EQ(readFile(path),
              "\nfirst\n1.0 2.5 \n-3.0 4.0 \n\nsecond\n" + std::string(999, '0') + "\n")
        << "cut in the middle of a number";
    fprint_matrix((path + "/none").c_str(), "w", "title", matrix, "%f");
    fprint_matrix(path.c_str(), nullptr, "title", matrix, "%f");
}

} // namespace

// Determinants and inverses of small dense matrices by LU decomposition, compared with Eigen's
// matrices of dynamic size.
#include "goals.h"

#include "Math/nMatrix.h"

#include <Eigen/LU>
#include <benchmark/benchmark.h>

#include <random>

namespace {

using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(1.00, "determinant/eigen/3", "determinant/qz/3"),
    atMost(1.00, "determinant/eigen/4", "determinant/qz/4"),
    atMost(1.00, "determinant/eigen/6", "determinant/qz/6"),
    atMost(1.00, "determinant/eigen/10", "determinant/qz/10"),
    atMost(1.00, "determinant/eigen/16", "determinant/qz/16"),
    atMost(1.50, "determinant/eigen/64", "determinant/qz/64"),
    atMost(1.00, "inverse/eigen/3", "inverse/qz/3"),
    atMost(1.00, "inverse/eigen/4", "inverse/qz/4"),
    atMost(1.00, "inverse/eigen/6", "inverse/qz/6"),
    atMost(1.00, "inverse/eigen/10", "inverse/qz/10"),
    atMost(1.00, "inverse/eigen/16", "inverse/qz/16"),
    atMost(1.50, "inverse/eigen/64", "inverse/qz/64"),
};

// Asks for the decomposition, because Eigen computes up to 4 rows in closed form otherwise.
struct EigenPeer {
    using Matrix = Eigen::MatrixXd;

    static Matrix make(unsigned n) { return Matrix(n, n); }
    static double& element(Matrix& matrix, unsigned i, unsigned j) { return matrix(i, j); }
    static double determinant(const Matrix& matrix) {
        return Eigen::PartialPivLU<Matrix>(matrix).determinant();
    }
    static void invert(Matrix& matrix) { matrix = Eigen::PartialPivLU<Matrix>(matrix).inverse(); }
};

struct Qz {
    using Matrix = nMatrix<double>;

    static Matrix make(unsigned n) { return Matrix(n); }
    static double& element(Matrix& matrix, unsigned i, unsigned j) { return matrix[i][j]; }
    static double determinant(const Matrix& matrix) { return matrix.getDeterminantByLU(); }
    static void invert(Matrix& matrix) { matrix.invertByLU(); }
};

template<class Library>
typename Library::Matrix random(const benchmark::State& state) {
    const auto n = static_cast<unsigned>(state.range(0));
    std::mt19937 generator(n);
    std::uniform_real_distribution<double> number(-1, 1);
    auto matrix = Library::make(n);
    for (unsigned i = 0; i < n; ++i) {
        for (unsigned j = 0; j < n; ++j) {
            Library::element(matrix, i, j) = number(generator);
        }
    }
    return matrix;
}

template<class Library>
void determinant(benchmark::State& state) {
    const auto matrix = random<Library>(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(Library::determinant(matrix));
    }
}

// Inverts a matrix in place, and back again.
template<class Library>
void inverse(benchmark::State& state) {
    auto matrix = random<Library>(state);
    benchmark::DoNotOptimize(&matrix);
    for (auto _ : state) {
        Library::invert(matrix);
        benchmark::ClobberMemory();
    }
}

void sizes(benchmark::internal::Benchmark* benchmark) {
    for (const int n : {3, 4, 6, 10, 16, 64}) {
        benchmark->Arg(n);
    }
}

BENCHMARK(determinant<Qz>)->Name("determinant/qz")->Apply(sizes);
BENCHMARK(determinant<EigenPeer>)->Name("determinant/eigen")->Apply(sizes);
BENCHMARK(inverse<Qz>)->Name("inverse/qz")->Apply(sizes);
BENCHMARK(inverse<EigenPeer>)->Name("inverse/eigen")->Apply(sizes);

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

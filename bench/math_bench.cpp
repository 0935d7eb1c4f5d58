// Quaternions, matrices and half floats, many at a time in the cache, compared with glm, Eigen and
// Imath.
#include "goals.h"

#include "Math/Half.h"
#include "Math/Matrix.h"
#include "Math/Rotation3.h"

#include <Eigen/Geometry>
#include <benchmark/benchmark.h>
#include <glm/ext/quaternion_float.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/mat4x4.hpp>
#include <half.h>

#include <array>
#include <random>
#include <vector>

namespace {

using bench::atMost;

constexpr bench::Goal kGoals[] = {
    atMost(1.05, "product/glm", "product/qz"),
    atMost(1.05, "product/eigen", "product/qz"),
    atMost(1.02, "product4x4/glm", "product4x4/qz"),
    atMost(1.02, "product4x4/eigen", "product4x4/qz"),
    atMost(0.90, "slerp/glm", "slerp/qz"),
    atMost(0.90, "slerp/eigen", "slerp/qz"),
    atMost(1.00, "basis/glm", "basis/qz"),
    atMost(1.00, "basis/eigen", "basis/qz"),
    atMost(0.30, "float2half/imath", "float2half/qz"),
    atMost(0.30, "half2float/imath", "half2float/qz"),
};

constexpr std::size_t kMany = 256;
constexpr std::size_t kHalfs = 4096;

class Numbers {
public:
    float next() { return distribution_(generator_); }

    std::array<float, 4> unitQuaternion() {
        const std::array<float, 4> q{next(), next(), next(), next()};
        const float length = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
        return {q[0] / length, q[1] / length, q[2] / length, q[3] / length};
    }

private:
    std::mt19937 generator_{20261121};
    std::uniform_real_distribution<float> distribution_{-1, 1};
};

// The same value in each of the libraries, made from the same numbers.
struct Qz {
    using Quaternion = Math::Rotation3<float>;
    using Matrix = Math::Matrix<4, float>;
    struct Basis {
        Math::Vector<3, float> x, y, z;
    };

    static Quaternion quaternion(const std::array<float, 4>& q) { return {q[0], q[1], q[2], q[3]}; }
    static float& element(Matrix& m, int row, int column) { return m[row][column]; }
    static Quaternion product(const Quaternion& a, const Quaternion& b) { return a * b; }
    static void multiply(Matrix& out, const Matrix& a, const Matrix& b) {
        Math::multiply(out, a, b);
    }
    static Quaternion slerp(const Quaternion& a, const Quaternion& b, float t) {
        return Math::slerp(a, b, t);
    }
    static void basis(Basis& out, const Quaternion& q) { q.getBasis(&out.x, &out.y, &out.z); }
};

struct Glm {
    using Quaternion = glm::quat;
    using Matrix = glm::mat4;
    using Basis = glm::mat3;

    static Quaternion quaternion(const std::array<float, 4>& q) { return {q[3], q[0], q[1], q[2]}; }
    static float& element(Matrix& m, int row, int column) { return m[column][row]; }
    static Quaternion product(const Quaternion& a, const Quaternion& b) { return a * b; }
    static void multiply(Matrix& out, const Matrix& a, const Matrix& b) { out = a * b; }
    static Quaternion slerp(const Quaternion& a, const Quaternion& b, float t) {
        return glm::slerp(a, b, t);
    }
    static void basis(Basis& out, const Quaternion& q) { out = glm::mat3_cast(q); }
};

struct EigenPeer {
    using Quaternion = Eigen::Quaternionf;
    using Matrix = Eigen::Matrix4f;
    using Basis = Eigen::Matrix3f;

    static Quaternion quaternion(const std::array<float, 4>& q) { return {q[3], q[0], q[1], q[2]}; }
    static float& element(Matrix& m, int row, int column) { return m(row, column); }
    static Quaternion product(const Quaternion& a, const Quaternion& b) { return a * b; }
    static void multiply(Matrix& out, const Matrix& a, const Matrix& b) { out.noalias() = a * b; }
    static Quaternion slerp(const Quaternion& a, const Quaternion& b, float t) {
        return a.slerp(t, b);
    }
    static void basis(Basis& out, const Quaternion& q) { out = q.toRotationMatrix(); }
};

template<typename Library>
std::vector<typename Library::Quaternion> quaternions(Numbers& numbers) {
    std::vector<typename Library::Quaternion> result;
    for (std::size_t i = 0; i < kMany; ++i) {
        result.push_back(Library::quaternion(numbers.unitQuaternion()));
    }
    return result;
}

template<typename Library>
std::vector<typename Library::Matrix> matrices(Numbers& numbers) {
    std::vector<typename Library::Matrix> result(kMany);
    for (auto& matrix : result) {
        for (int row = 0; row < 4; ++row) {
            for (int column = 0; column < 4; ++column) {
                Library::element(matrix, row, column) = numbers.next();
            }
        }
    }
    return result;
}

// Measures `step(i)` for each i; what it writes must be reachable from `out`.
template<typename Out, typename Step>
void repeat(benchmark::State& state, Out* out, std::size_t count, Step step) {
    benchmark::DoNotOptimize(out);
    for (auto _ : state) {
        for (std::size_t i = 0; i < count; ++i) {
            step(i);
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

template<typename Library>
void product(benchmark::State& state) {
    Numbers numbers;
    const auto a = quaternions<Library>(numbers), b = quaternions<Library>(numbers);
    auto out = a;
    repeat(state, out.data(), kMany, [&](std::size_t i) { out[i] = Library::product(a[i], b[i]); });
}

template<typename Library>
void product4x4(benchmark::State& state) {
    Numbers numbers;
    const auto a = matrices<Library>(numbers), b = matrices<Library>(numbers);
    auto out = a;
    repeat(state, out.data(), kMany, [&](std::size_t i) { Library::multiply(out[i], a[i], b[i]); });
}

template<typename Library>
void slerp(benchmark::State& state) {
    Numbers numbers;
    const auto a = quaternions<Library>(numbers), b = quaternions<Library>(numbers);
    auto out = a;
    std::vector<float> t(kMany);
    for (float& value : t) {
        value = (numbers.next() + 1) / 2;
    }
    repeat(state, out.data(), kMany,
           [&](std::size_t i) { out[i] = Library::slerp(a[i], b[i], t[i]); });
}

template<typename Library>
void basis(benchmark::State& state) {
    Numbers numbers;
    const auto q = quaternions<Library>(numbers);
    std::vector<typename Library::Basis> out(kMany);
    repeat(state, out.data(), kMany, [&](std::size_t i) { Library::basis(out[i], q[i]); });
}

BENCHMARK(product<Qz>)->Name("product/qz");
BENCHMARK(product<Glm>)->Name("product/glm");
BENCHMARK(product<EigenPeer>)->Name("product/eigen");
BENCHMARK(product4x4<Qz>)->Name("product4x4/qz");
BENCHMARK(product4x4<Glm>)->Name("product4x4/glm");
BENCHMARK(product4x4<EigenPeer>)->Name("product4x4/eigen");
BENCHMARK(slerp<Qz>)->Name("slerp/qz");
BENCHMARK(slerp<Glm>)->Name("slerp/glm");
BENCHMARK(slerp<EigenPeer>)->Name("slerp/eigen");
BENCHMARK(basis<Qz>)->Name("basis/qz");
BENCHMARK(basis<Glm>)->Name("basis/glm");
BENCHMARK(basis<EigenPeer>)->Name("basis/eigen");

std::vector<float> manyFloats() {
    Numbers numbers;
    std::vector<float> floats(kHalfs);
    for (float& value : floats) {
        value = 100 * numbers.next();
    }
    return floats;
}

void float2halfQz(benchmark::State& state) {
    const std::vector<float> in = manyFloats();
    std::vector<unsigned short> out(kHalfs);
    repeat(state, out.data(), 1,
           [&](std::size_t) { Math::float2half(out.data(), in.data(), kHalfs); });
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kHalfs));
}

void float2halfImath(benchmark::State& state) {
    const std::vector<float> in = manyFloats();
    std::vector<half> out(kHalfs);
    repeat(state, out.data(), kHalfs, [&](std::size_t i) { out[i] = in[i]; });
}

void half2floatQz(benchmark::State& state) {
    std::vector<unsigned short> in(kHalfs);
    Math::float2half(in.data(), manyFloats().data(), kHalfs);
    std::vector<float> out(kHalfs);
    repeat(state, out.data(), 1,
           [&](std::size_t) { Math::half2float(out.data(), in.data(), kHalfs); });
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kHalfs));
}

void half2floatImath(benchmark::State& state) {
    const std::vector<float> floats = manyFloats();
    const std::vector<half> in(floats.begin(), floats.end());
    std::vector<float> out(kHalfs);
    repeat(state, out.data(), kHalfs, [&](std::size_t i) { out[i] = in[i]; });
}

BENCHMARK(float2halfQz)->Name("float2half/qz");
BENCHMARK(float2halfImath)->Name("float2half/imath");
BENCHMARK(half2floatQz)->Name("half2float/qz");
BENCHMARK(half2floatImath)->Name("half2float/imath");

} // namespace

int main(int argc, char** argv) {
    return bench::run(argc, argv, kGoals);
}

#include "Math/Predictor.h"

#include <algorithm>

namespace Math {

namespace {

// The distance if it is outside the band, else 0. Not-a-number counts as inside, because both
// comparisons fail for it.
double outside(double tolerance, double distance) {
    return distance < -tolerance || distance > tolerance ? distance : 0;
}

} // namespace

template<int N>
void Predictor<N>::init(double x, double velocity, const double* c) {
    const double derivatives[unsigned{N} - 1] = {velocity};
    target_ = x;
    increment_ = 0;
    pack(derivatives, c);
}

template<int N>
void Predictor<N>::update(double x) {
    increment_ = x - target_;
}

template<int N>
void Predictor<N>::update(double x, double tolerance) {
    increment_ = outside(tolerance, x - target_);
}

// Adds from the output register up, so that each addition uses the old value of the register above.
template<int N>
void Predictor<N>::step(int n, const double* /*c*/) {
    for (; n > 0; --n) {
        for (int i = N - 1; i > 0; --i) {
            registers_[i] += registers_[i - 1];
        }
        registers_[0] += increment_;
    }
}

template<int N>
double Predictor<N>::vel(const double* c) const {
    double derivatives[unsigned{N} - 1];
    unpack(derivatives, c);
    return derivatives[0];
}

template<int N>
void Predictor<N>::freeze(int order) {
    increment_ = 0;
    std::fill_n(registers_, N - 1 - std::clamp(order, -1, N - 1), 0.0);
}

// The registers are the solution of a triangular system. Its right side is the derivatives, the
// highest first, and then the target. The increment contributes to every row but the last.
template<int N>
void Predictor<N>::pack(const double* in, const double* c) {
    for (int i = 0; i < N; ++i) {
        const bool isOutput = i == N - 1;
        double rest = isOutput ? target_ : in[N - 2 - i] - c[N - 2 - i] * increment_;
        for (int higher = 0; higher < i; ++higher) {
            rest -= c[N - 1 - i + higher] * registers_[higher];
        }
        registers_[i] = rest / c[N - 1];
    }
}

template<int N>
void Predictor<N>::unpack(double* out, const double* c) const {
    for (int i = 0; i < N - 1; ++i) {
        const double* const own = &registers_[N - 2 - i];
        out[i] = c[N - 1] * *own;
        for (int higher = 1; higher <= N - 2 - i; ++higher) {
            out[i] += c[N - 1 - higher] * own[-higher];
        }
        out[i] += c[i] * increment_;
    }
}

template class Predictor<3>;
template class Predictor<4>;

double Predictor4::acc(const double* c) const {
    double derivatives[3];
    unpack(derivatives, c);
    return derivatives[1];
}

} // namespace Math

#include "Math/Rotation3.h"

#include <cmath>
#include <cstddef>
#include <iterator>

namespace Math {

namespace {

enum Axis : unsigned char { X, Y, Z };

constexpr Axis kAxes[6][3] = {{X, Y, Z}, {Y, Z, X}, {Z, X, Y}, {X, Z, Y}, {Y, X, Z}, {Z, Y, X}};

constexpr double kTolerance = 1e-6;
constexpr float kTwoPi = 6.2831855F; // single precision, even for double rotations
constexpr double kBlendBelow = 0.05; // 1 minus the cosine of the angle between two quaternions

template<typename T>
T clampToUnit(T value) {
    return value < T(-1) ? T(-1) : value > T(1) ? T(1) : value;
}

template<typename T>
T dot(const Vector<3, T>& a, const Vector<3, T>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

template<typename T>
T dot(const Rotation3<T>& a, const Rotation3<T>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

template<typename T>
Vector<3, T> cross(const Vector<3, T>& a, const Vector<3, T>& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

template<typename T>
Rotation3<T> aboutAxis(Axis axis, T angle) {
    const T sine = std::sin(angle / 2);
    return {axis == X ? sine : 0, axis == Y ? sine : 0, axis == Z ? sine : 0, std::cos(angle / 2)};
}

// c[0] + c[1] x + c[2] x^2 + ... Even and odd powers are summed apart, so that neither sum waits
// for the other.
template<std::size_t kCount>
double polynomial(const double (&c)[kCount], double x) {
    constexpr std::size_t kLastEven = (kCount - 1) / 2 * 2, kLastOdd = kCount / 2 * 2 - 1;
    double even = c[kLastEven];
    double odd = c[kLastOdd];
    for (std::size_t i = kLastEven; i >= 2; i -= 2) {
        even = even * (x * x) + c[i - 2];
    }
    for (std::size_t i = kLastOdd; i >= 3; i -= 2) {
        odd = odd * (x * x) + c[i - 2];
    }
    return even + x * odd;
}

template<typename T>
constexpr T kSigns[] = {1, -1};

// How much of each rotation slerp takes.
template<typename T>
struct Weights {
    T from, to;
};

Weights<double> weigh(double cosine, double t) {
    const double angle = std::acos(cosine);
    const double sine = std::sin(angle);
    return {std::sin((1 - t) * angle) / sine, std::sin(t * angle) / sine};
}

// Single precision is computed in double precision with two polynomials, whose relative errors are
// below 4e-11. So for t from 0 to 1 the weights are those of exact arithmetic, rounded once, on
// every system. Other t take the C library's functions.

// The cosine is from 0 to 0.95.
double fastArcCosine(double cosine) {
    static constexpr double kFactors[] = {
        1.41421356529963,       0.11785098932638832,    0.026519152275631126,
        0.007865852729705736,   0.0028352860587380372,  0.00044637724762554157,
        0.0016513162295430101,  -0.0017678869955261207, 0.0019038125887918173,
        -0.0010001321499196296, 0.00027799413609513727};
    return std::sqrt(1 - cosine) * polynomial(kFactors, 1 - cosine);
}

// The angle is from 0 to a right angle.
double fastSine(double angle) {
    static constexpr double kFactors[] = {0.9999999999788375,     -0.1666666660879911,
                                          0.008333330719555334,   -0.00019840832695770303,
                                          2.7523964554316104e-06, -2.386823102977082e-08};
    return angle * polynomial(kFactors, angle * angle);
}

Weights<float> weigh(float cosine, float t) {
    if (!(t >= 0 && t <= 1)) {
        const auto [from, to] = weigh(static_cast<double>(cosine), static_cast<double>(t));
        return {static_cast<float>(from), static_cast<float>(to)};
    }
    const auto c = static_cast<double>(cosine);
    const double angle = fastArcCosine(c);
    const double perSine = 1 / std::sqrt(1 - c * c);
    return {static_cast<float>(fastSine((1 - static_cast<double>(t)) * angle) * perSine),
            static_cast<float>(fastSine(static_cast<double>(t) * angle) * perSine)};
}

template<typename T>
Rotation3<T> blend(T a, const Rotation3<T>& from, T b, const Rotation3<T>& to) {
    return {a * from.x + b * to.x, a * from.y + b * to.y, a * from.z + b * to.z,
            a * from.w + b * to.w};
}

} // namespace

template<typename T>
void Rotation3<T>::setAngleAxis(T angle, const Vector<3, T>& axis) {
    const T length = std::sqrt(dot(axis, axis));
    const T sine = std::sin(angle / 2);
    *this = {axis.x / length * sine, axis.y / length * sine, axis.z / length * sine,
             std::cos(angle / 2)};
}

template<typename T>
void Rotation3<T>::getAngleAxis(T& angle, Vector<3, T>& axis) const {
    const T length = std::sqrt(x * x + y * y + z * z);
    angle = 2 * std::acos(w);
    axis = {x / length, y / length, z / length};
}

template<typename T>
void Rotation3<T>::setEulerAngles(RotationOrder order, T first, T second, T third) {
    *this = Rotation3{};
    const auto row = static_cast<std::size_t>(order);
    if (row >= std::size(kAxes)) {
        return;
    }
    const T angles[3] = {first, second, third};
    for (int i = 0; i < 3; ++i) {
        *this = *this * aboutAxis(kAxes[row][i], angles[i]);
    }
}

template<typename T>
void Rotation3<T>::setYawPitchRoll(T yaw, T pitch, T roll) {
    *this = aboutAxis(Y, yaw) * aboutAxis(Z, pitch) * aboutAxis(X, roll);
}

template<typename T>
void Rotation3<T>::getYawPitchRoll(T& yaw, T& pitch, T& roll) const {
    const T sine = clampToUnit(2 * (z * w + x * y));
    const T cosine = std::sqrt(1 - sine * sine);
    pitch = std::asin(sine);
    yaw = 0;
    roll = 0;
    if (!(static_cast<double>(cosine) > kTolerance)) {
        return;
    }
    yaw = -std::atan2(2 * (z * x - y * w), 1 - 2 * (y * y + z * z));
    if (static_cast<double>(yaw) < -kTolerance) {
        yaw += static_cast<T>(kTwoPi);
    }
    const auto dx = static_cast<double>(x);
    const auto dz = static_cast<double>(z);
    const double cosRoll = (1 - 2 * (dx * dx + dz * dz)) / static_cast<double>(cosine);
    roll = static_cast<T>(std::acos(clampToUnit(cosRoll)));
    if (static_cast<double>(2 * (y * z - x * w)) > kTolerance) {
        roll = -roll;
    }
}

template<typename T>
void Rotation3<T>::setFromTo(const Vector<3, T>& from, const Vector<3, T>& to) {
    const Vector<3, T> normal = cross(from, to);
    const T cosine = clampToUnit(dot(from, to));
    const T sine = std::sqrt(1 - cosine * cosine);
    const T halfSine = std::sqrt((1 - cosine) / 2);
    w = std::sqrt((1 + cosine) / 2);
    if (sine == 0) {
        x = normal.x;
        y = normal.y;
        z = normal.z;
        return;
    }
    x = normal.x * halfSine / sine;
    y = normal.y * halfSine / sine;
    z = normal.z * halfSine / sine;
}

template<typename T>
void Rotation3<T>::fromMatrix(const Matrix<3, T>& m) {
    const T trace = m[0][0] + m[1][1] + m[2][2];
    if (trace >= 0) {
        const T root = std::sqrt(trace + 1);
        const T factor = T(0.5) / root;
        *this = {(m[1][2] - m[2][1]) * factor, (m[2][0] - m[0][2]) * factor,
                 (m[0][1] - m[1][0]) * factor, root / 2};
        return;
    }
    // Divides by the largest of the vector's components.
    const int i = m[2][2] > m[1][1] && m[2][2] > m[0][0] ? Z : m[1][1] > m[0][0] ? Y : X;
    const int j = (i + 1) % 3;
    const int k = (i + 2) % 3;
    const T root = std::sqrt(m[i][i] - (m[j][j] + m[k][k]) + 1);
    const T factor = T(0.5) / root;
    Vector<3, T> vector;
    vector[i] = root / 2;
    vector[j] = (m[i][j] + m[j][i]) * factor;
    vector[k] = (m[k][i] + m[i][k]) * factor;
    *this = {vector.x, vector.y, vector.z, (m[j][k] - m[k][j]) * factor};
}

template<typename T>
Rotation3<T> slerp(const Rotation3<T>& from, const Rotation3<T>& to, std::type_identity_t<T> t) {
    const T product = dot(from, to);
    // Either way may be the shorter one: a branch would be mispredicted half of the time, and the
    // compiler makes one unless it has a table.
    const T sign = kSigns<T>[static_cast<int>(product < 0)];
    const T cosine = std::fabs(product);
    if (!(static_cast<double>(1 - cosine) > kBlendBelow)) {
        return blend(sign * (1 - t), from, t, to);
    }
    const Weights<T> weights = weigh(cosine, t);
    return blend(sign * weights.from, from, weights.to, to);
}

// QZ_API stands before functions that are inline in the header: their copies are exported, too.
// NOLINTBEGIN(bugprone-macro-parentheses): a type needs none
#define QZ_MATH_ROTATION(T)                                                                  \
    template void Rotation3<T>::setAngleAxis(T, const Vector<3, T>&);                        \
    template void Rotation3<T>::getAngleAxis(T&, Vector<3, T>&) const;                       \
    template void Rotation3<T>::setEulerAngles(RotationOrder, T, T, T);                      \
    template void Rotation3<T>::setYawPitchRoll(T, T, T);                                    \
    template void Rotation3<T>::getYawPitchRoll(T&, T&, T&) const;                           \
    template void Rotation3<T>::setFromTo(const Vector<3, T>&, const Vector<3, T>&);         \
    template void Rotation3<T>::fromMatrix(const Matrix<3, T>&);                             \
    template QZ_API void Rotation3<T>::getBasis(Vector<3, T>*, Vector<3, T>*, Vector<3, T>*) \
        const;                                                                               \
    template QZ_API void Rotation3<T>::normalize();                                          \
    template QZ_API Rotation3<T> Rotation3<T>::normalized() const;                           \
    template QZ_API Rotation3<T> operator*(const Rotation3<T>&, const Rotation3<T>&);        \
    template Rotation3<T> slerp(const Rotation3<T>&, const Rotation3<T>&, std::type_identity_t<T>);
QZ_MATH_ROTATION(float)
QZ_MATH_ROTATION(double)
#undef QZ_MATH_ROTATION
// NOLINTEND(bugprone-macro-parentheses)

} // namespace Math

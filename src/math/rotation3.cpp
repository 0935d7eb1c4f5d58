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
    // Either way may be the shorter one: a branch would be mispredicted half of the time.
    const T sign = static_cast<T>(1 - 2 * static_cast<int>(product < 0));
    const T cosine = std::fabs(product);
    if (!(static_cast<double>(1 - cosine) > kBlendBelow)) {
        return blend(sign * (1 - t), from, t, to);
    }
    const T angle = std::acos(cosine);
    const T sine = std::sin(angle);
    return blend(sign * (std::sin((1 - t) * angle) / sine), from, std::sin(t * angle) / sine, to);
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

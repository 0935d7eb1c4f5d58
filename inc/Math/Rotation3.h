/* Rotations in three dimensions, as unit quaternions. C++ only, for programs built by the library's
 * compiler.
 *
 * Angles are in radians. The engine's axes: Y is up, X is forward. float and double follow the same
 * rules, each in its own precision unless said otherwise. Thresholds and degenerate results are
 * part of the contract: other code and stored data depend on them.
 *
 * Small operations are inline, so that a loop over rotations makes no calls; the library also
 * exports them. Inline code follows the host's compiler flags: if they allow fused multiplications
 * and additions, last bits differ, and with -ffast-math results for not-a-number are undefined. All
 * functions with a threshold, except normalize, are compiled in the library and give every host the
 * same results.
 */
#ifndef QZCORE_MATH_ROTATION3_H
#define QZCORE_MATH_ROTATION3_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"
#include "Math/Matrix.h"
#include "Math/Vector.h"

#include <type_traits>

#if !defined(__GNUC__)
#    include <math.h>
#endif

namespace Math {

/* The sequence of axes for setEulerAngles, the first one leftmost. */
enum class RotationOrder { XYZ = 0, YZX = 1, ZXY = 2, XZY = 3, YXZ = 4, ZYX = 5 };

/* T is float or double. A default rotation is the identity. */
template<typename T>
struct Rotation3 {
    T x = 0;
    T y = 0;
    T z = 0;
    T w = 1; /* the scalar part, last in memory */

    /* Sets a turn by `angle` about `axis`, which may have any length whose square
     * is a normal number (1e-18 to 1e18 for float); a zero axis gives not-a-number. */
    QZ_API void setAngleAxis(T angle, const Vector<3, T>& axis);

    /* angle = 2 acos(w), from 0 to 2 pi; axis has length 1. There are no checks: the identity gives
     * a not-a-number axis, and w beyond 1 a not-a-number angle. */
    QZ_API void getAngleAxis(T& angle, Vector<3, T>& axis) const;

    /* Sets the product q(first) q(second) q(third) of rotations about the order's three axes. An
     * invalid order gives the identity. */
    QZ_API void setEulerAngles(RotationOrder order, T first, T second, T third);

    /* Sets the product of a turn by yaw about Y, by pitch about Z, and by roll about X. */
    QZ_API void setYawPitchRoll(T yaw, T pitch, T roll);

    /* The inverse of setYawPitchRoll: pitch from -pi/2 to pi/2, yaw from 0 to 2 pi, roll from -pi
     * to pi.
     *
     * A yaw from -1e-6 to 0 stays negative; to a yaw below that, 6.2831855 is added, which is 2 pi
     * in single precision, for double too. If the cosine of the pitch is not above 1e-6 (straight
     * up or down), yaw and roll are 0. If the sine of the roll times the cosine of the pitch is
     * within 1e-6 of zero, roll is positive. */
    QZ_API void getYawPitchRoll(T& yaw, T& pitch, T& roll) const;

    /* Sets the shortest turn that takes one unit vector to another. The vectors are not normalised
     * here.
     *
     * Callers must avoid opposite vectors, which have no shortest turn: exactly opposite ones give
     * (0, 0, 0, 0). */
    QZ_API void setFromTo(const Vector<3, T>& from, const Vector<3, T>& to);

    /* Stores the rotated X, Y and Z axes; null pointers are skipped. */
    void getBasis(Vector<3, T>* xAxis, Vector<3, T>* yAxis, Vector<3, T>* zAxis) const;

    /* Sets the rotation whose rotated X, Y and Z axes, as getBasis gives them, are the matrix's
     * rows. */
    QZ_API void fromMatrix(const Matrix<3, T>& axes);

    /* Divide by the length, whose square must be a normal number. A length of zero or not-a-number
     * gives the identity. */
    void normalize();
    Rotation3 normalized() const;
};

/* The Hamilton product: a turn by b, then by a. */
template<typename T>
inline Rotation3<T> operator*(const Rotation3<T>& a, const Rotation3<T>& b);

/* Interpolates from `from` (t = 0) to `to` (t = 1) at constant speed along the shorter way; t is
 * not clamped. If their dot product is negative, all signs of `from` are changed.
 *
 * If the dot product then is 0.95 or more, the result is a linear blend, which is not normalised.
 */
template<typename T>
QZ_API Rotation3<T> slerp(const Rotation3<T>& from, const Rotation3<T>& to,
                          std::type_identity_t<T> t);

/* This form takes eight multiplications in place of sixteen; stored data depends on its rounding.
 */
template<typename T>
inline Rotation3<T> operator*(const Rotation3<T>& a, const Rotation3<T>& b) {
    const T e = (a.x + a.z) * (b.x + b.y);
    const T f = (a.x - a.z) * (b.x - b.y);
    const T g = (a.w + a.y) * (b.w - b.z);
    const T h = (a.w - a.y) * (b.w + b.z);
    const T half = T(0.5);
    return {(a.w + a.x) * (b.w + b.x) - half * ((e + f) + (g + h)),
            (a.w - a.x) * (b.y + b.z) + half * ((e - f) + (g - h)),
            (a.y + a.z) * (b.w - b.x) + half * ((e - f) - (g - h)),
            (a.z - a.y) * (b.y - b.z) + half * ((g + h) - (e + f))};
}

template<typename T>
inline void Rotation3<T>::getBasis(Vector<3, T>* xAxis, Vector<3, T>* yAxis,
                                   Vector<3, T>* zAxis) const {
    const T x2 = x + x, y2 = y + y, z2 = z + z;
    const T xx = x * x2, xy = x * y2, xz = x * z2;
    const T yy = y * y2, yz = y * z2, zz = z * z2;
    const T wx = w * x2, wy = w * y2, wz = w * z2;
    if (xAxis) {
        *xAxis = {1 - (yy + zz), xy + wz, xz - wy};
    }
    if (yAxis) {
        *yAxis = {xy - wz, 1 - (xx + zz), yz + wx};
    }
    if (zAxis) {
        *zAxis = {xz + wy, yz - wx, 1 - (xx + yy)};
    }
}

namespace detail {

/* Without <cmath>, which does not compile with a host's min and max macros. */
#if defined(__GNUC__)
inline float squareRoot(float value) {
    return __builtin_sqrtf(value);
}
inline double squareRoot(double value) {
    return __builtin_sqrt(value);
}
#else
inline float squareRoot(float value) {
    return ::sqrtf(value);
}
inline double squareRoot(double value) {
    return ::sqrt(value);
}
#endif

} // namespace detail

template<typename T>
inline void Rotation3<T>::normalize() {
    const T length = detail::squareRoot(x * x + y * y + z * z + w * w);
    if (!(length > 0)) {
        *this = Rotation3{};
        return;
    }
    x /= length;
    y /= length;
    z /= length;
    w /= length;
}

template<typename T>
inline Rotation3<T> Rotation3<T>::normalized() const {
    Rotation3 result = *this;
    result.normalize();
    return result;
}

} // namespace Math

#endif

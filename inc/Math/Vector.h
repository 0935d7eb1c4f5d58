/* Vectors of two, three or four components. C++ only, for programs built by the library's compiler.
 *
 * Vectors are plain values of N numbers without padding: they may be copied by memcpy, stored and
 * sent as they are. A default vector is all zero. There is no arithmetic; the types pass values
 * between the library and the host's own mathematics.
 */
#ifndef QZCORE_MATH_VECTOR_H
#define QZCORE_MATH_VECTOR_H

#include "Core/SameCompiler.h"

namespace Math {

/* N is 2, 3 or 4; T is float or double. Indices run from 0 to N - 1. */
template<int N, typename T>
struct Vector;

template<typename T>
struct Vector<2, T> {
    T x{};
    T y{};

    constexpr T& operator[](int i) { return i == 0 ? x : y; }
    constexpr const T& operator[](int i) const { return i == 0 ? x : y; }
};

template<typename T>
struct Vector<3, T> {
    T x{};
    T y{};
    T z{};

    constexpr T& operator[](int i) { return i == 0 ? x : i == 1 ? y : z; }
    constexpr const T& operator[](int i) const { return i == 0 ? x : i == 1 ? y : z; }
};

template<typename T>
struct Vector<4, T> {
    T x{};
    T y{};
    T z{};
    T w{};

    constexpr T& operator[](int i) { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
    constexpr const T& operator[](int i) const { return i == 0 ? x : i == 1 ? y : i == 2 ? z : w; }
};

} // namespace Math

#endif

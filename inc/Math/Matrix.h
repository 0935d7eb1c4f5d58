/* Square matrices of two, three or four rows. C++ only, for programs built by the library's
 * compiler.
 *
 * All functions are inline, so that a loop over matrices makes no calls; the library also exports
 * them. Inline code follows the host's compiler flags: if they allow fused multiplications and
 * additions, last bits differ from those of the library.
 */
#ifndef QZCORE_MATH_MATRIX_H
#define QZCORE_MATH_MATRIX_H

#include "Core/SameCompiler.h"

namespace Math {

/* N is 2, 3 or 4; T is float or double. A default matrix is all zero. */
template<int N, typename T>
struct Matrix {
    static_assert(N >= 2 && N <= 4);

    T elements[unsigned{N * N}] = {}; /* row by row */

    /* m[row][column], both from 0 to N - 1. */
    constexpr T* operator[](int row) { return elements + row * N; }
    constexpr const T* operator[](int row) const { return elements + row * N; }

    /* s on the diagonal, 0 elsewhere: set(1) gives the identity. Returns the matrix. */
    constexpr Matrix& set(T s);

    /* Transposes in place. Returns the matrix. */
    constexpr Matrix& transpose();
};

/* In the functions below `out` may be one of the inputs. */

/* out = the transpose of `in`. */
template<int N, typename T>
inline void transpose(Matrix<N, T>& out, const Matrix<N, T>& in);

/* out = a b: out[i][j] is the sum over k, in ascending order, of a[i][k] b[k][j]. */
template<int N, typename T>
inline void multiply(Matrix<N, T>& out, const Matrix<N, T>& a, const Matrix<N, T>& b);

/* out = the inverse of the affine matrix m = [[A, t], [0, 1]].
 *
 * The columns of A, the upper left block, must be orthogonal to each other, and may have any
 * length. A length of zero gives infinities or not-a-number. The last row of m is not read. */
template<int N, typename T>
inline void invertOrtho(Matrix<N, T>& out, const Matrix<N, T>& m);

template<int N, typename T>
constexpr Matrix<N, T>& Matrix<N, T>::set(T s) {
    for (int row = 0; row < N; ++row) {
        for (int column = 0; column < N; ++column) {
            (*this)[row][column] = row == column ? s : T(0);
        }
    }
    return *this;
}

template<int N, typename T>
constexpr Matrix<N, T>& Matrix<N, T>::transpose() {
    for (int row = 1; row < N; ++row) {
        for (int column = 0; column < row; ++column) {
            const T below = (*this)[row][column];
            (*this)[row][column] = (*this)[column][row];
            (*this)[column][row] = below;
        }
    }
    return *this;
}

template<int N, typename T>
inline void transpose(Matrix<N, T>& out, const Matrix<N, T>& in) {
    out = in;
    out.transpose();
}

namespace detail {

#if defined(__GNUC__)
/* N elements that compilers keep in a vector register at every level of optimisation; three do not
 * fill one. They are not passed to functions, because the host's flags decide how that is done. */
template<int N, typename T>
struct Row {
    typedef T Type __attribute__((vector_size(N * sizeof(T))));

    /* A row in memory, aligned as one element. */
    struct __attribute__((packed, may_alias)) Stored {
        Type row;
    };
};
#else
/* The same for compilers without such types, which let any structure alias memory. */
template<int N, typename T>
struct Row {
    struct Type {
        T elements[N];

        T operator[](int i) const { return elements[i]; }

        Type& operator+=(const Type& other) {
            for (int i = 0; i < N; ++i) {
                elements[i] += other.elements[i];
            }
            return *this;
        }

        friend Type operator*(T factor, const Type& row) {
            Type product;
            for (int i = 0; i < N; ++i) {
                product.elements[i] = factor * row.elements[i];
            }
            return product;
        }
    };

    struct Stored {
        Type row;
    };
};
#endif

} // namespace detail

template<int N, typename T>
inline void multiply(Matrix<N, T>& out, const Matrix<N, T>& a, const Matrix<N, T>& b) {
    /* A row of `out` is written after the same row of `a` and all of `b` were read. */
    if constexpr (N == 3) {
        const Matrix<N, T> right = b;
        for (int i = 0; i < N; ++i) {
            const T x = a[i][0], y = a[i][1], z = a[i][2];
            for (int j = 0; j < N; ++j) {
                out[i][j] = x * right[0][j] + y * right[1][j] + z * right[2][j];
            }
        }
    } else {
        using Row = typename detail::Row<N, T>::Type;
        using Stored = typename detail::Row<N, T>::Stored;
        Row right[unsigned{N}];
        for (int k = 0; k < N; ++k) {
            right[k] = reinterpret_cast<const Stored*>(b[k])->row;
        }
        for (int i = 0; i < N; ++i) {
            const Row left = reinterpret_cast<const Stored*>(a[i])->row;
            Row sum = left[0] * right[0];
            for (int k = 1; k < N; ++k) {
                sum += left[k] * right[k];
            }
            reinterpret_cast<Stored*>(out[i])->row = sum;
        }
    }
}

template<int N, typename T>
inline void invertOrtho(Matrix<N, T>& out, const Matrix<N, T>& m) {
    constexpr int kLast = N - 1;
    Matrix<N, T> inverse;
    for (int i = 0; i < kLast; ++i) {
        T squaredLength = 0;
        for (int j = 0; j < kLast; ++j) {
            squaredLength += m[j][i] * m[j][i];
        }
        for (int j = 0; j < kLast; ++j) {
            inverse[i][j] = m[j][i] / squaredLength;
            inverse[i][kLast] -= inverse[i][j] * m[j][kLast];
        }
    }
    inverse[kLast][kLast] = 1;
    out = inverse;
}

} // namespace Math

#endif

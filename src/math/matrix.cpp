// The exported copies; everything is inline in the header.
#include "Math/Matrix.h"

#include "Core/Export.h"

namespace Math {

// Each function by itself, because on Windows the export of a class leaves out its inline members.
#define QZ_MATH_MATRIX(N, T)                                                                \
    template QZ_API Matrix<N, T>& Matrix<N, T>::set(T);                                     \
    template QZ_API Matrix<N, T>& Matrix<N, T>::transpose();                                \
    template QZ_API void transpose(Matrix<N, T>&, const Matrix<N, T>&);                     \
    template QZ_API void multiply(Matrix<N, T>&, const Matrix<N, T>&, const Matrix<N, T>&); \
    template QZ_API void invertOrtho(Matrix<N, T>&, const Matrix<N, T>&);
QZ_MATH_MATRIX(2, float)
QZ_MATH_MATRIX(3, float)
QZ_MATH_MATRIX(4, float)
QZ_MATH_MATRIX(2, double)
QZ_MATH_MATRIX(3, double)
QZ_MATH_MATRIX(4, double)
#undef QZ_MATH_MATRIX

} // namespace Math

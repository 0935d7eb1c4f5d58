/* Matrices of any size, for small jobs of linear algebra. C++ only, for programs built by the
 * library's compiler.
 *
 *     nMatrix<double> covariance;
 *     covariance.diag(3, 0.5);
 *     covariance.invertByLU();
 *
 * Rows and columns count from 0. Operations on shapes that do not fit each other do not throw; each
 * comment tells the result. Functions throw std::bad_alloc or std::length_error when there is not
 * enough memory.
 *
 * Threads: an object is for one thread at a time, or for any number of threads that only read it.
 */
#ifndef QZCORE_MATH_NMATRIX_H
#define QZCORE_MATH_NMATRIX_H

#include "Common/Allocator.h"
#include "Core/Export.h"
#include "Core/SameCompiler.h"

/* T is double. Arrays hold as many numbers as the matrix, row by row. */
template<typename T>
class nMatrix {
public:
    using Row = qz::vector<T>;

    /* Make a matrix without rows; of n x n or rows x cols zeros; or of that shape, filled from the
     * array. */
    nMatrix() = default;
    QZ_API explicit nMatrix(unsigned n);
    QZ_API nMatrix(unsigned rows, unsigned cols);
    nMatrix(unsigned rows, int cols) /* for a literal 0, which could be a null pointer, too */
        : nMatrix(rows, static_cast<unsigned>(cols)) {}
    QZ_API nMatrix(unsigned n, const T* elements);
    QZ_API nMatrix(unsigned rows, unsigned cols, const T* elements);
    nMatrix(const nMatrix&) = default;
    nMatrix(nMatrix&&) noexcept = default;
    nMatrix& operator=(const nMatrix&) = default;
    nMatrix& operator=(nMatrix&&) noexcept = default;
    ~nMatrix() = default;

    unsigned Rows() const { return static_cast<unsigned>(rows_.size()); }

    /* The length of the first row; 0 without rows. */
    unsigned Cols() const { return rows_.empty() ? 0 : static_cast<unsigned>(rows_[0].size()); }

    bool isEmpty() const { return rows_.empty(); }

    /* A row, with an index below Rows(). Its length must not be changed. */
    Row& operator[](unsigned row) { return rows_[row]; }
    const Row& operator[](unsigned row) const { return rows_[row]; }

    /* Takes the shape and fills it from the array, which must not be part of the matrix. */
    QZ_API void init(unsigned rows, unsigned cols, const T* elements);
    QZ_API void init(unsigned n, const T* elements);

    /* Change the shape: elements that are in both shapes stay, new ones are 0. */
    QZ_API void resize(unsigned rows, unsigned cols);
    QZ_API void resize(unsigned n);

    /* Sets every element to 0. */
    QZ_API void null();

    /* Removes all rows. */
    QZ_API void clear();

    /* Become n x n, with d on the diagonal and 0 elsewhere. */
    QZ_API void diag(unsigned n, const T* d);
    QZ_API void diag(unsigned n, T d);
    void diag(unsigned n, int d) { diag(n, static_cast<T>(d)); }

    /* Becomes n x n, with the square root of variances[i] times variances[j] at [i][j]. These are
     * the covariances of fully correlated variables; there are no correlation coefficients. */
    QZ_API void cov(unsigned n, const T* variances);

    /* Delete a row, a column or one of each; an index beyond the last one deletes nothing. */
    QZ_API void removeRow(unsigned row);
    QZ_API void removeCol(unsigned col);
    QZ_API void remove(unsigned row, unsigned col);

    /* Returns a copy without the row and the column. */
    QZ_API nMatrix getExtract(unsigned row, unsigned col) const;

    QZ_API void transpose();
    QZ_API nMatrix getTranspose() const;

    /* The result has no rows if the terms have different shapes, or if the first factor has not as
     * many columns as the second has rows. */
    QZ_API nMatrix& operator+=(const nMatrix& other);
    QZ_API nMatrix& operator-=(const nMatrix& other);
    QZ_API nMatrix& operator*=(const nMatrix& other);
    QZ_API nMatrix& operator*=(T factor);

    /* Returns the determinant by expansion along the first row, in spite of the name; 0 if the
     * matrix is empty or not square. The time doubles with each row; from 16 rows on it grows with
     * the factorial. */
    QZ_API T getDeterminantByLeibniz() const;

    /* Returns the determinant by LU decomposition with partial pivoting; 0 if the matrix is
     * singular, empty or not square. */
    QZ_API T getDeterminantByLU() const;

    /* Returns the minor of the element with its sign, by expansion; 0 if the matrix is not square,
     * has fewer than two columns or has no such element. */
    QZ_API T getCofactor(unsigned row, unsigned col) const;

    /* Invert the matrix in place, by cofactors or by LU decomposition with partial pivoting. A
     * matrix does not change if it is not square, or is singular, which means that the determinant
     * by expansion, or a pivot, is exactly 0. invertByCofactors does not change a 1 x 1 matrix
     * either. */
    QZ_API void invertByCofactors();
    QZ_API void invertByLU();

private:
    QZ_API bool isSquare() const;
    QZ_API bool hasShapeOf(const nMatrix& other) const;

    qz::vector<Row> rows_;
};

/* The same as the member operators, with a new result. */
template<typename T>
nMatrix<T> operator+(nMatrix<T> a, const nMatrix<T>& b) {
    a += b;
    return a;
}

template<typename T>
nMatrix<T> operator-(nMatrix<T> a, const nMatrix<T>& b) {
    a -= b;
    return a;
}

template<typename T>
nMatrix<T> operator*(nMatrix<T> a, const nMatrix<T>& b) {
    a *= b;
    return a;
}

template<typename T>
nMatrix<T> operator*(nMatrix<T> a, typename nMatrix<T>::Row::value_type factor) {
    a *= factor;
    return a;
}

template<typename T>
nMatrix<T> operator*(typename nMatrix<T>::Row::value_type factor, nMatrix<T> a) {
    a *= factor;
    return a;
}

/* Writes a matrix to a file: an empty line, the title, and each row on a line of its own.
 *
 * path, mode: as the C library's fopen takes them; "a" appends.
 * format: a printf format for one element and the separator after it, for example "%8.3f ". A
 *   line is cut at 999 characters. The decimal sign is that of the process's locale.
 *
 * Nothing is written if the file cannot be opened or one of the texts is null. */
template<typename T>
QZ_API void fprint_matrix(const char* path, const char* mode, const char* title,
                          const nMatrix<T>& matrix, const char* format);

namespace Math {

/* The C library's pow. */
QZ_API double pow(double base, double exponent);

} // namespace Math

#endif

#include "Math/nMatrix.h"

#include "math/lu.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t kLineSize = 1000;

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

template<typename T>
T signedBy(unsigned index, T value) {
    return index % 2 == 0 ? value : -value;
}

// Doubles at least, so that growing step by step takes time in proportion to the result.
template<typename List>
void makeRoom(List& list, std::size_t size) {
    if (size > list.capacity()) {
        list.reserve(std::max(size, 2 * list.capacity()));
    }
}

// Expands along the first row, and computes each minor of the lower rows once. A minor of the last
// rows is in the table at the index whose bits are the minor's columns.
template<typename T>
T expandByTable(const nMatrix<T>& matrix) {
    const unsigned n = matrix.Rows();
    std::vector<T> minors(std::size_t{1} << n);
    minors[0] = 1;
    for (std::uint32_t columns = 1; columns < minors.size(); ++columns) {
        const auto& row = matrix[n - static_cast<unsigned>(std::popcount(columns))];
        unsigned position = 0;
        for (std::uint32_t rest = columns; rest != 0; rest &= rest - 1) {
            const auto column = static_cast<unsigned>(std::countr_zero(rest));
            const T minor = minors[columns & ~(1U << column)];
            minors[columns] += signedBy(position++, row[column] * minor);
        }
    }
    return minors.back();
}

// The table has 2^n minors, so a matrix of many rows is expanded without it.
template<typename T>
T expand(const nMatrix<T>& matrix) {
    constexpr unsigned kMostRowsByTable = 16;
    if (matrix.Rows() <= kMostRowsByTable) {
        return expandByTable(matrix);
    }
    T sum = 0;
    for (unsigned column = 0; column < matrix.Cols(); ++column) {
        sum += signedBy(column, matrix[0][column] * expand(matrix.getExtract(0, column)));
    }
    return sum;
}

// The format is the caller's.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template<typename Row>
void printLine(std::FILE* file, const Row& row, const char* format) {
    char line[kLineSize] = "";
    std::size_t length = 0;
    for (const auto element : row) {
        const int more = std::snprintf(line + length, kLineSize - length, format, element);
        length += static_cast<std::size_t>(std::max(more, 0));
        if (length >= kLineSize) {
            break;
        }
    }
    std::fprintf(file, "%s\n", line);
}
#pragma GCC diagnostic pop

} // namespace

template<typename T>
nMatrix<T>::nMatrix(unsigned n) : nMatrix(n, n) {}

template<typename T>
nMatrix<T>::nMatrix(unsigned rows, unsigned cols) : rows_(rows, Row(cols)) {}

template<typename T>
nMatrix<T>::nMatrix(unsigned n, const T* elements) : nMatrix(n, n, elements) {}

template<typename T>
nMatrix<T>::nMatrix(unsigned rows, unsigned cols, const T* elements) : nMatrix(rows, cols) {
    init(rows, cols, elements);
}

template<typename T>
void nMatrix<T>::init(unsigned rows, unsigned cols, const T* elements) {
    resize(rows, cols);
    for (Row& row : rows_) {
        std::copy_n(elements, cols, row.begin());
        elements += cols;
    }
}

template<typename T>
void nMatrix<T>::init(unsigned n, const T* elements) {
    init(n, n, elements);
}

template<typename T>
void nMatrix<T>::resize(unsigned rows, unsigned cols) {
    // What needs memory comes first: if there is none, the matrix is as it was.
    const unsigned kept = std::min(rows, Rows());
    const unsigned changed = cols == Cols() ? 0 : kept;
    makeRoom(rows_, rows);
    for (unsigned i = 0; i < changed; ++i) {
        makeRoom(rows_[i], cols);
    }
    qz::vector<Row> added(rows - kept);
    for (Row& row : added) {
        row.resize(cols);
    }
    rows_.resize(kept);
    for (unsigned i = 0; i < changed; ++i) {
        rows_[i].resize(cols);
    }
    std::ranges::move(added, std::back_inserter(rows_));
}

template<typename T>
void nMatrix<T>::resize(unsigned n) {
    resize(n, n);
}

template<typename T>
void nMatrix<T>::null() {
    for (Row& row : rows_) {
        std::ranges::fill(row, T(0));
    }
}

template<typename T>
void nMatrix<T>::clear() {
    rows_.clear();
}

template<typename T>
void nMatrix<T>::diag(unsigned n, const T* d) {
    nMatrix diagonal(n); // `d` may point into this matrix
    for (unsigned i = 0; i < n; ++i) {
        diagonal[i][i] = d[i];
    }
    *this = std::move(diagonal);
}

template<typename T>
void nMatrix<T>::diag(unsigned n, T d) {
    diag(n, std::vector<T>(n, d).data());
}

template<typename T>
void nMatrix<T>::cov(unsigned n, const T* variances) {
    nMatrix covariance(n); // `variances` may point into this matrix
    for (unsigned i = 0; i < n; ++i) {
        for (unsigned j = 0; j < n; ++j) {
            covariance[i][j] = std::sqrt(variances[i] * variances[j]);
        }
    }
    *this = std::move(covariance);
}

template<typename T>
void nMatrix<T>::removeRow(unsigned row) {
    if (row < Rows()) {
        rows_.erase(std::next(rows_.begin(), row));
    }
}

template<typename T>
void nMatrix<T>::removeCol(unsigned col) {
    if (col < Cols()) {
        for (Row& row : rows_) {
            row.erase(std::next(row.begin(), col));
        }
    }
}

template<typename T>
void nMatrix<T>::remove(unsigned row, unsigned col) {
    removeRow(row);
    removeCol(col);
}

template<typename T>
nMatrix<T> nMatrix<T>::getExtract(unsigned row, unsigned col) const {
    nMatrix extract(*this);
    extract.remove(row, col);
    return extract;
}

template<typename T>
void nMatrix<T>::transpose() {
    *this = getTranspose();
}

template<typename T>
nMatrix<T> nMatrix<T>::getTranspose() const {
    nMatrix transposed(Cols(), Rows());
    for (unsigned i = 0; i < Rows(); ++i) {
        for (unsigned j = 0; j < Cols(); ++j) {
            transposed[j][i] = rows_[i][j];
        }
    }
    return transposed;
}

template<typename T>
nMatrix<T>& nMatrix<T>::operator+=(const nMatrix& other) {
    if (!hasShapeOf(other)) {
        clear();
    }
    for (unsigned i = 0; i < Rows(); ++i) {
        std::ranges::transform(rows_[i], other[i], rows_[i].begin(), std::plus());
    }
    return *this;
}

template<typename T>
nMatrix<T>& nMatrix<T>::operator-=(const nMatrix& other) {
    if (!hasShapeOf(other)) {
        clear();
    }
    for (unsigned i = 0; i < Rows(); ++i) {
        std::ranges::transform(rows_[i], other[i], rows_[i].begin(), std::minus());
    }
    return *this;
}

template<typename T>
nMatrix<T>& nMatrix<T>::operator*=(const nMatrix& other) {
    if (Cols() != other.Rows()) {
        clear();
        return *this;
    }
    nMatrix product(Rows(), other.Cols());
    for (unsigned i = 0; i < Rows(); ++i) {
        for (unsigned k = 0; k < Cols(); ++k) {
            for (unsigned j = 0; j < other.Cols(); ++j) {
                product[i][j] += rows_[i][k] * other[k][j];
            }
        }
    }
    return *this = std::move(product);
}

template<typename T>
nMatrix<T>& nMatrix<T>::operator*=(T factor) {
    for (Row& row : rows_) {
        for (T& element : row) {
            element *= factor;
        }
    }
    return *this;
}

template<typename T>
T nMatrix<T>::getDeterminantByLeibniz() const {
    return isSquare() ? expand(*this) : T(0);
}

template<typename T>
T nMatrix<T>::getDeterminantByLU() const {
    return isSquare() ? math::LuDecomposition(rows_).determinant() : T(0);
}

template<typename T>
T nMatrix<T>::getCofactor(unsigned row, unsigned col) const {
    if (!isSquare() || Cols() < 2 || row >= Rows() || col >= Cols()) {
        return 0;
    }
    return signedBy(row + col, expand(getExtract(row, col)));
}

template<typename T>
void nMatrix<T>::invertByCofactors() {
    const T determinant = getDeterminantByLeibniz();
    if (Cols() < 2 || determinant == T(0)) {
        return;
    }
    nMatrix inverse(Rows());
    for (unsigned i = 0; i < Rows(); ++i) {
        for (unsigned j = 0; j < Cols(); ++j) {
            inverse[j][i] = getCofactor(i, j) / determinant;
        }
    }
    *this = std::move(inverse);
}

template<typename T>
void nMatrix<T>::invertByLU() {
    if (!isSquare()) {
        return;
    }
    const math::LuDecomposition lu(rows_);
    if (!lu.isSingular()) {
        lu.writeInverse(rows_);
    }
}

template<typename T>
bool nMatrix<T>::isSquare() const {
    return !isEmpty() &&
           std::ranges::all_of(rows_, [&](const Row& row) { return row.size() == rows_.size(); });
}

template<typename T>
bool nMatrix<T>::hasShapeOf(const nMatrix& other) const {
    return Rows() == other.Rows() && Cols() == other.Cols();
}

template class nMatrix<double>;

template<typename T>
void fprint_matrix(const char* path, const char* mode, const char* title, const nMatrix<T>& matrix,
                   const char* format) {
    if (path == nullptr || mode == nullptr || title == nullptr || format == nullptr) {
        return;
    }
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path, mode));
    if (!file) {
        return;
    }
    std::fprintf(file.get(), "\n%s\n", title);
    for (unsigned i = 0; i < matrix.Rows(); ++i) {
        printLine(file.get(), matrix[i], format);
    }
}

template QZ_API void fprint_matrix(const char*, const char*, const char*, const nMatrix<double>&,
                                   const char*);

double Math::pow(double base, double exponent) {
    return std::pow(base, exponent);
}

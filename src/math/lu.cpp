#include "math/lu.h"

#include <cmath>
#include <utility>

namespace math {

namespace {

// The inner loop of all functions in this file.
void subtractMultiple(double* row, const double* other, double factor, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        row[i] -= factor * other[i];
    }
}

} // namespace

double LuDecomposition::determinant() const {
    if (singular_) {
        return 0;
    }
    double product = 1;
    for (std::size_t k = 0; k < lu_.size(); ++k) {
        product *= lu_[k][k];
    }
    return negated_ ? -product : product;
}

void LuDecomposition::decompose() {
    const std::size_t n = lu_.size();
    for (std::size_t k = 0; k < n; ++k) {
        exchange(k);
        const double* const pivotRow = lu_[k];
        if (pivotRow[k] == 0) {
            singular_ = true;
            return;
        }
        for (std::size_t i = k + 1; i < n; ++i) {
            double* const row = lu_[i];
            row[k] /= pivotRow[k];
            subtractMultiple(row + k + 1, pivotRow + k + 1, row[k], n - k - 1);
        }
    }
}

// Brings the row with the largest pivot to place k.
void LuDecomposition::exchange(std::size_t k) {
    const std::size_t n = lu_.size();
    std::size_t largest = k;
    for (std::size_t i = k + 1; i < n; ++i) {
        if (std::fabs(lu_[i][k]) > std::fabs(lu_[largest][k])) {
            largest = i;
        }
    }
    if (largest != k) {
        std::swap_ranges(lu_[k], lu_[k] + n, lu_[largest]);
        std::swap(origins_[k], origins_[largest]);
        negated_ = !negated_;
    }
}

// The inverse of L is lower triangular, too.
void LuDecomposition::invertLower(Square& out) const {
    const std::size_t n = lu_.size();
    for (std::size_t i = 0; i < n; ++i) {
        std::fill_n(out[i], n, 0.0);
        out[i][i] = 1;
        for (std::size_t k = 0; k < i; ++k) {
            subtractMultiple(out[i], out[k], lu_[i][k], k + 1);
        }
    }
}

// Multiplies by the inverse of U from the left.
void LuDecomposition::invertUpper(Square& out) const {
    const std::size_t n = lu_.size();
    for (std::size_t i = n; i-- > 0;) {
        for (std::size_t k = i + 1; k < n; ++k) {
            subtractMultiple(out[i], out[k], lu_[i][k], n);
        }
        for (std::size_t j = 0; j < n; ++j) {
            out[i][j] /= lu_[i][i];
        }
    }
}

} // namespace math

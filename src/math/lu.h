// LU decomposition of small dense matrices, with partial pivoting.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>

namespace math {

// Uninitialised room for `count` values, without an allocation up to kFew of them.
template<class T, std::size_t kFew>
class Room {
public:
    explicit Room(std::size_t count) {
        if (count > kFew) {
            many_ = std::make_unique_for_overwrite<T[]>(count);
            values_ = many_.get();
        }
    }

    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    T& operator[](std::size_t i) { return values_[i]; }
    const T& operator[](std::size_t i) const { return values_[i]; }

private:
    T few_[kFew];
    T* values_ = few_;
    std::unique_ptr<T[]> many_;
};

constexpr std::size_t kSmallMatrix = 16;

class Square {
public:
    explicit Square(std::size_t n) : n_(n), elements_(n * n) {}

    std::size_t size() const { return n_; }
    double* operator[](std::size_t row) { return &elements_[row * n_]; }
    const double* operator[](std::size_t row) const { return &elements_[row * n_]; }

private:
    std::size_t n_;
    Room<double, kSmallMatrix * kSmallMatrix> elements_;
};

// Decomposes a square matrix, with rows exchanged so that each pivot is the largest in its column,
// into the product of a lower triangular matrix L (ones on the diagonal) and an upper one, U.
class LuDecomposition {
public:
    // `rows` are n rows with n elements each.
    template<class Rows>
    explicit LuDecomposition(const Rows& rows) : lu_(rows.size()), origins_(rows.size()) {
        for (std::size_t i = 0; i < rows.size(); ++i) {
            std::copy_n(rows[i].data(), rows.size(), lu_[i]);
            origins_[i] = i;
        }
        decompose();
    }

    // Whether a pivot was exactly 0.
    bool isSingular() const { return singular_; }

    double determinant() const;

    // Only for a matrix that is not singular.
    template<class Rows>
    void writeInverse(Rows& rows) const {
        Square inverse(lu_.size());
        invertLower(inverse);
        invertUpper(inverse);
        for (std::size_t i = 0; i < lu_.size(); ++i) {
            for (std::size_t j = 0; j < lu_.size(); ++j) {
                rows[i][origins_[j]] = inverse[i][j];
            }
        }
    }

private:
    void decompose();
    void exchange(std::size_t k);
    void invertLower(Square& out) const;
    void invertUpper(Square& out) const;

    Square lu_;                               // U, and L below the diagonal
    Room<std::size_t, kSmallMatrix> origins_; // each row's index in the matrix
    bool negated_ = false;                    // the number of exchanges is odd
    bool singular_ = false;
};

} // namespace math

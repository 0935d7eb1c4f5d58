/* Types of Math and generators of random numbers for Common::CommonSerializer. C++ only, for
 * programs built by the library's compiler. A RandomObject does not need this header. */
#ifndef QZCORE_SERIAL_MATHTYPES_H
#define QZCORE_SERIAL_MATHTYPES_H

#include "Core/SameCompiler.h"
#include "Math/Matrix.h"
#include "Math/Rotation3.h"
#include "Math/Vector.h"
#include "Math/nMatrix.h"
#include "Random/Randomizer.h"
#include "Serial/CommonSerializer.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Common {

template<int N, typename T>
void serialize(CommonSerializer& serializer, Math::Vector<N, T>& vector) {
    for (int i = 0; i < N; ++i) {
        serializer.transfer(vector[i]);
    }
}

template<int N, typename T>
void serialize(CommonSerializer& serializer, Math::Matrix<N, T>& matrix) {
    serializer.transferRow(matrix[0], std::size_t{N} * N);
}

template<typename T>
void serialize(CommonSerializer& serializer, nMatrix<T>& matrix) {
    qz::vector<typename nMatrix<T>::Row> rows;
    for (unsigned row = 0; !serializer.isLoading() && row < matrix.Rows(); ++row) {
        rows.push_back(matrix[row]);
    }
    serialize(serializer, rows);
    const std::size_t length = rows.empty() ? 0 : rows[0].size();
    if (!std::ranges::all_of(rows, [&](const auto& row) { return row.size() == length; })) {
        serializer.fail("rows of a matrix that differ in length");
    }
    if (serializer.isLoading() && serializer.isGood()) {
        matrix.resize(static_cast<unsigned>(rows.size()), static_cast<unsigned>(length));
        for (unsigned row = 0; row < matrix.Rows(); ++row) {
            matrix[row] = std::move(rows[row]);
        }
    }
}

template<typename T>
void serialize(CommonSerializer& serializer, Math::Rotation3<T>& rotation) {
    serializer.transfer(rotation.x);
    serializer.transfer(rotation.y);
    serializer.transfer(rotation.z);
    serializer.transfer(rotation.w);
}

inline void serialize(CommonSerializer& serializer, UnsignedLongRandomizer& randomizer) {
    unsigned state = randomizer.getSeed();
    serializer.transfer("state", state);
    if (serializer.isLoading() && serializer.isGood()) {
        randomizer.setSeed(state);
    }
}

inline void serialize(CommonSerializer& serializer, GenerativeRandomizer& randomizer) {
    unsigned seed = randomizer.getSeed0();
    unsigned state = randomizer.getSeed();
    serializer.transfer("seed", seed);
    serializer.transfer("state", state);
    if (serializer.isLoading() && serializer.isGood()) {
        randomizer.restore(seed, state);
    }
}

} // namespace Common

#endif

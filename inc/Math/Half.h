/* Half floats: IEEE 754 binary16 in an unsigned short, for values that are stored or sent. C++
 * only, for programs built by the library's compiler.
 *
 * The conversions work on bits: they give the same results on every machine, whatever the rounding
 * mode, leave the floating-point state as it was, and may be called from any thread. Stored data
 * depends on each of the rules below, also on those that differ from IEEE 754's.
 */
#ifndef QZCORE_MATH_HALF_H
#define QZCORE_MATH_HALF_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <stddef.h>

namespace Math {

/* The half nearest to a float; from the middle between two halfs, the one farther from zero. From
 * 65520 on in magnitude that is infinity.
 *
 * Magnitudes below 2^-25 give +0 whatever their sign, and so does -0. A not-a-number keeps its sign
 * and the upper ten bits of its fraction; one that has only lower bits set becomes infinity. */
QZ_API unsigned short float2half(float value);

/* The float of the same value; exact. A not-a-number keeps its sign and payload and comes out
 * quiet. */
QZ_API float half2float(unsigned short half);

/* Convert `count` values, to the same bits as the functions above but several at a time where the
 * processor can. `out` and `in` must not overlap; they may be null when count is 0. */
QZ_API void float2half(unsigned short* out, const float* in, size_t count);
QZ_API void half2float(float* out, const unsigned short* in, size_t count);

} // namespace Math

#endif

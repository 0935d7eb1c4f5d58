/* Half floats: IEEE 754 binary16 in an unsigned short, for values that are stored or sent. C++
 * only, for programs built by the library's compiler.
 *
 * The conversions give the same results on every machine and in every rounding mode, do not change
 * the floating-point state, and may be called from any thread. Some of the rules below differ from
 * IEEE 754; stored data depends on all of them.
 */
#ifndef QZCORE_MATH_HALF_H
#define QZCORE_MATH_HALF_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

#include <stddef.h>

namespace Math {

/* Returns the half nearest to a float; midway between two halfs, the one farther from zero.
 * Magnitudes of 65520 and more become infinity.
 *
 * Magnitudes below 2^-25, -0 included, become +0. A not-a-number keeps its sign and the upper ten
 * bits of its fraction; if these are 0, it becomes infinity. */
QZ_API unsigned short float2half(float value);

/* Returns the float of the same value; exact. A not-a-number keeps its sign and payload and becomes
 * quiet. */
QZ_API float half2float(unsigned short half);

/* Convert `count` values to the same bits as the functions above, several at a time if the
 * processor can. `out` and `in` must not overlap; they may be null when count is 0. */
QZ_API void float2half(unsigned short* out, const float* in, size_t count);
QZ_API void half2float(float* out, const unsigned short* in, size_t count);

} // namespace Math

#endif

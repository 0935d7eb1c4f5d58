/* How often something happens, smoothed. C++ only, for programs built by the library's compiler. */
#ifndef QZCORE_MATH_RATEMETER_H
#define QZCORE_MATH_RATEMETER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

namespace Math {

/* The rate of events over time, in which older events count exponentially less.
 *
 *     Math::RateMeter bytes{QZ_get_time(), 0, 2.0};
 *     ...
 *     bytes.update(QZ_get_time(), received);
 *     show(bytes.rate);
 *
 * A plain value, for one thread at a time. With a decay of 0 the rate stays what it is. */
struct RateMeter {
    double time = 0;  /* of the last update */
    double rate = 0;  /* per unit of time */
    double decay = 0; /* per unit of time: after 1 / decay of it, 63 % of a new rate is there */

    /* Counts an amount that came in since the last update. Two updates at one time have no rate
     * between them: unless `now` is later than the last, time and amount are ignored. */
    QZ_API void update(double now, double amount);
};

} // namespace Math

#endif

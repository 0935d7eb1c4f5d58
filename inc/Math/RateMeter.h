/* Measures how often something happens, smoothed. C++ only, for programs built by the library's
 * compiler. */
#ifndef QZCORE_MATH_RATEMETER_H
#define QZCORE_MATH_RATEMETER_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

namespace Math {

/* The rate of events over time. The weight of older events falls exponentially.
 *
 *     Math::RateMeter bytes{QZ_get_time(), 0, 2.0};
 *     ...
 *     bytes.update(QZ_get_time(), received);
 *     show(bytes.rate);
 *
 * A plain value, for one thread at a time. With a decay of 0 the rate does not change, but for
 * rounding. An amount makes the rate not-a-number for ever if it is infinite, or so large for the
 * time that passed that the quotient is infinite. After an infinite time no update counts. */
struct RateMeter {
    double time = 0;  /* of the last update */
    double rate = 0;  /* per unit of time */
    double decay = 0; /* per unit of time; after 1 / decay, 63 % of a change is in `rate` */

    /* Counts an amount that came in since the last update. Does nothing if `now` is not later than
     * the last update: there is no rate between two updates at the same time. */
    QZ_API void update(double now, double amount);
};

} // namespace Math

#endif

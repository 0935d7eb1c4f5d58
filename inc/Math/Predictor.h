/* Extrapolates a signal, such as a coordinate of a moving object, in fixed ticks. C++ only, for
 * programs built by the library's compiler.
 *
 *     Math::Predictor3 x;
 *     x.init(position, speed, c);
 *     ...                              // each tick, or several at once
 *     x.step(ticks, c);
 *     draw(x.value());
 *     ...                              // when a new sample arrives
 *     x.update(sample, tolerance);
 *
 * Between samples the signal is advanced by additions only: d0 is the output, d1 and so on are its
 * forward differences, and each tick adds an increment e to the highest difference. Coefficients c
 * relate these registers to the signal:
 *
 *                  Predictor3                   Predictor4
 *   sample         c2 d0 + c1 d1 + c0 d2        c3 d0 + c2 d1 + c1 d2 + c0 d3
 *   velocity       c2 d1 + c1 d2 + c0 e         c3 d1 + c2 d2 + c1 d3 + c0 e
 *   acceleration                                c3 d2 + c2 d3 + c1 e
 *
 * The caller passes c to each call: three doubles for Predictor3, four for Predictor4, the same for
 * all calls on one object. The last one must not be zero. With {0, 0, 1} the output is the sample
 * itself, and times are counted in ticks.
 *
 * Predictors are plain values, which may be copied and stored as they are. A default predictor is
 * all zero and stays zero. An object is for one thread at a time.
 */
#ifndef QZCORE_MATH_PREDICTOR_H
#define QZCORE_MATH_PREDICTOR_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

namespace Math {

/* The base of both predictors; N is the number of registers, 3 or 4. */
template<int N>
class Predictor {
public:
    /* Starts with a value x, which becomes the target, and a velocity. */
    QZ_API void init(double x, double velocity, const double* c);

    /* Takes a new sample: e becomes x less the target. The target of `init` does not change. */
    QZ_API void update(double x);

    /* The same with a dead band: e becomes 0 if the difference is within the tolerance or
     * not-a-number. */
    QZ_API void update(double x, double tolerance);

    /* Advances by n ticks; does nothing if n is 0 or less. Each tick takes nanoseconds, so limit n
     * where a clock may jump. */
    QZ_API void step(int n, const double* c);

    /* The output, d0. */
    double value() const { return registers_[N - 1]; }

    QZ_API double vel(const double* c) const;

    /* Stops motion of higher orders: e and the highest N - 1 - order registers become 0. Order 0
     * keeps only the output, order 1 also the first difference; an order below 0 keeps nothing. */
    QZ_API void freeze(int order);

    /* Transfers the whole object, for Common::CommonSerializer and similar classes. */
    template<class Serializer>
    void serialize(Serializer& serializer) {
        serializer.transfer("increment", increment_);
        serializer.transfer("target", target_);
        for (double& value : registers_) {
            serializer.transfer(value);
        }
    }

protected:
    QZ_API void unpack(double* out, const double* c) const;

private:
    QZ_API void pack(const double* in, const double* c);

    double increment_ = 0;
    double target_ = 0;
    double registers_[unsigned{N}] = {}; /* the highest first */
};

/* Has the output and two differences. */
class Predictor3 : public Predictor<3> {};

/* Has the output and three differences. */
class Predictor4 : public Predictor<4> {
public:
    QZ_API double acc(const double* c) const;
};

} // namespace Math

#endif

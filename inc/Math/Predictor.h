/* Extrapolation of one signal, a coordinate of a moving object say, in fixed ticks. C++ only, for
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
 * Between samples the signal is advanced by additions alone: d0 is the output, d1 and so on its
 * forward differences, and an increment e is added to the highest of them in each tick.
 * Coefficients c tell what the registers amount to:
 *
 *                  Predictor3                   Predictor4
 *   sample         c2 d0 + c1 d1 + c0 d2        c3 d0 + c2 d1 + c1 d2 + c0 d3
 *   velocity       c2 d1 + c1 d2 + c0 e         c3 d1 + c2 d2 + c1 d3 + c0 e
 *   acceleration                                c3 d2 + c2 d3 + c1 e
 *
 * They are the caller's, three doubles for Predictor3 and four for Predictor4, the same for all
 * calls on one object; the last one must not be zero. With {0, 0, 1} the output is the sample
 * itself, and times are counted in ticks.
 *
 * Plain values: they may be copied and stored as they are. A default one is all zero and stays at
 * zero. An object is for one thread at a time.
 */
#ifndef QZCORE_MATH_PREDICTOR_H
#define QZCORE_MATH_PREDICTOR_H

#include "Core/Export.h"
#include "Core/SameCompiler.h"

namespace Math {

/* What both have in common; N is 3 or 4, the number of registers. */
template<int N>
class Predictor {
public:
    /* Starts from a value x, which becomes the target, and a velocity. */
    QZ_API void init(double x, double velocity, const double* c);

    /* A new sample: e becomes its distance from the target, which stays what `init` made it. */
    QZ_API void update(double x);

    /* The same with a dead band: e is 0 for a sample within the tolerance, or a not-a-number. */
    QZ_API void update(double x, double tolerance);

    /* Advances by n ticks; n of 0 or less changes nothing. */
    QZ_API void step(int n, const double* c);

    /* The output, d0. */
    double value() const { return registers_[N - 1]; }

    QZ_API double vel(const double* c) const;

    /* Stops motion of higher orders: e becomes 0, and so do the highest N - 1 - order registers.
     * Order 0 leaves the output alone, order 1 the first difference too. Below 0 nothing is left.
     */
    QZ_API void freeze(int order);

    /* For Common::CommonSerializer and its like: all of the object. */
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

/* With the output and two differences. */
class Predictor3 : public Predictor<3> {};

/* With the output and three. */
class Predictor4 : public Predictor<4> {
public:
    QZ_API double acc(const double* c) const;
};

} // namespace Math

#endif

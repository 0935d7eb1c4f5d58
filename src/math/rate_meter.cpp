#include "Math/RateMeter.h"

#include <cmath>

void Math::RateMeter::update(double now, double amount) {
    const double passed = now - time;
    if (!(passed > 0)) {
        return;
    }
    const double latest = amount / passed;
    rate = std::exp(-passed * decay) * (rate - latest) + latest;
    time = now;
}

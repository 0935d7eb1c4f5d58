#include "config/number_token.h"

#include <climits>
#include <cmath>

namespace qz::config {

namespace {

// Only what can be saved.
bool fits(const Number& number) {
    const double whole = std::trunc(number.value);
    return number.isInteger ? whole >= INT_MIN && whole <= INT_MAX : std::isfinite(number.value);
}

} // namespace

bool NumberToken::matchTokens(Matching& matching) const {
    const Matching::Position start = matching.position();
    Number number;
    if (!read(matching, number)) {
        return matching.fail();
    }
    if (!fits(number)) {
        matching.returnTo(start);
        return matching.fail();
    }
    Entry& entry = matching.makeEntry();
    if (number.isInteger) {
        entry.type = Type::kInteger;
        entry.integer = static_cast<int>(number.value);
    } else {
        entry.type = Type::kReal;
        entry.real = number.value;
    }
    matching.keep(entry, start);
    return true;
}

} // namespace qz::config

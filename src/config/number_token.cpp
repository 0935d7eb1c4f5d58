#include "config/number_token.h"

#include <climits>
#include <cmath>

namespace qz::config {

namespace {

bool fitsInt(double value) {
    return value >= INT_MIN && value <= INT_MAX; // false for what is no number
}

} // namespace

bool NumberToken::matchTokens(Matching& matching) const {
    const Matching::Position start = matching.position();
    Number number;
    if (!read(matching, number)) {
        return matching.fail();
    }
    const double whole = std::trunc(number.value);
    if (number.isInteger && !fitsInt(whole)) {
        matching.returnTo(start);
        return matching.fail();
    }
    Entry& entry = matching.makeEntry();
    if (number.isInteger) {
        entry.type = Type::kInteger;
        entry.integer = static_cast<int>(whole);
    } else {
        entry.type = Type::kReal;
        entry.real = number.value;
    }
    matching.keep(entry, start);
    return true;
}

} // namespace qz::config

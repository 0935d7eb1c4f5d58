// What has a number for its value.
#pragma once

#include "config/matching.h"

namespace qz::config {

class NumberToken : public Token {
public:
    // Takes what makes up the number, or leaves the matching where it was. Where another kind of
    // number may begin alike, not to match is no failure to record.
    virtual bool read(Matching& matching, Number& number) const = 0;

    // An integer that does not fit is a failure.
    bool matchTokens(Matching& matching) const override;
};

} // namespace qz::config

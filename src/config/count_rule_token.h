// A rule several times.
#pragma once

#include "config/rule.h"

namespace qz::config {

class CountRuleToken : public Token {
public:
    CountRuleToken(Rule element, int minimum, int maximum)
        : element_(std::move(element)), minimum_(minimum), maximum_(maximum) {}

    bool matchTokens(Matching& matching) const override;

private:
    Rule element_;
    int minimum_;
    int maximum_;
};

} // namespace qz::config

// A rule or, where it does not match, another.
#pragma once

#include "config/rule.h"

namespace qz::config {

class OrRuleToken : public Token {
public:
    OrRuleToken(Rule first, Rule second) : first_(std::move(first)), second_(std::move(second)) {}

    bool matchTokens(Matching& matching) const override {
        return first_.matchTokens(matching) || second_.matchTokens(matching);
    }

private:
    Rule first_;
    Rule second_;
};

} // namespace qz::config

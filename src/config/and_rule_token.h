// A rule, then another.
#pragma once

#include "config/rule.h"

namespace qz::config {

class AndRuleToken : public Token {
public:
    AndRuleToken(Rule first, Rule second) : first_(std::move(first)), second_(std::move(second)) {}

    bool matchTokens(Matching& matching) const override;

private:
    Rule first_;
    Rule second_;
};

} // namespace qz::config

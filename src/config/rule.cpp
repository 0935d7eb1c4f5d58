#include "config/rule.h"

#include "config/rule_tokens.h"

#include <optional>

namespace qz::config {

class RecursiveRule::Reference : public Token {
public:
    bool matchTokens(Matching& matching) const override {
        return definition->matchTokens(matching);
    }

    std::optional<Rule> definition;
};

RecursiveRule::RecursiveRule() : reference_(std::make_shared<Reference>()) {}

// The definition refers to the reference itself: nothing else would break this cycle.
RecursiveRule::~RecursiveRule() {
    reference_->definition.reset();
}

RecursiveRule& RecursiveRule::operator=(Rule definition) {
    reference_->definition = std::move(definition);
    return *this;
}

RecursiveRule::operator Rule() const {
    return reference_;
}

Rule sequence(Rule first, Rule second) {
    return std::make_shared<AndRuleToken>(std::move(first), std::move(second));
}

Rule choice(Rule first, Rule second) {
    return std::make_shared<OrRuleToken>(std::move(first), std::move(second));
}

Rule count(Rule element, int minimum, int maximum) {
    return std::make_shared<CountRuleToken>(std::move(element), minimum, maximum);
}

Rule block(Type type, Rule open, Rule inner, Rule close) {
    return std::make_shared<BlockToken>(type, std::move(open), std::move(inner), std::move(close));
}

} // namespace qz::config

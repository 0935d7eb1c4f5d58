// Rules: tokens, and what they are combined into.
#pragma once

#include "config/token.h"

#include <memory>

namespace qz::config {

// A handle to a token that several rules may share.
class Rule {
public:
    Rule() = default; // to be assigned before it is used

    template<class Kind>
    Rule(std::shared_ptr<Kind> token) : token_(std::move(token)) {}

    bool matchTokens(Matching& matching) const { return token_->matchTokens(matching); }

private:
    std::shared_ptr<const Token> token_;
};

// A rule that others can be made of before it is assigned, itself among them. It has to outlive
// them.
class RecursiveRule {
public:
    RecursiveRule();
    ~RecursiveRule();
    RecursiveRule(const RecursiveRule&) = delete;

    RecursiveRule& operator=(Rule definition);
    operator Rule() const;

private:
    class Reference;

    std::shared_ptr<Reference> reference_;
};

// One after the other.
Rule sequence(Rule first, Rule second);

// The second only where the first does not match.
Rule choice(Rule first, Rule second);

// As often as possible, but `maximum` times at most and `minimum` times at least.
inline constexpr int kUnlimited = -1;
Rule count(Rule element, int minimum, int maximum);

// What is between the other two, as one entry of the tree: a block or list, or for kUnknown an
// assignment of the one value in it. Blocks and assignments have the name that they open with.
Rule block(Type type, Rule open, Rule inner, Rule close);

} // namespace qz::config

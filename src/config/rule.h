// Rules: tokens and combinations of tokens.
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

// A rule that other rules, and its own definition, may contain before it is assigned. It has to
// outlive them.
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

// The first, or the second if the first does not match.
Rule choice(Rule first, Rule second);

// As often as possible, at least `minimum` and at most `maximum` times.
inline constexpr int kUnlimited = -1;
Rule count(Rule element, int minimum, int maximum);

// Makes one entry of what `inner` matches between `open` and `close`: a block or list, or for
// kUnknown an assignment of the one value there. Blocks and assignments get the name in `open`.
Rule block(Type type, Rule open, Rule inner, Rule close);

} // namespace qz::config

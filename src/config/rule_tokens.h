// Tokens that combine others: what the functions of rule.h make.
#pragma once

#include "config/matching.h"
#include "config/rule.h"

#include <memory>
#include <vector>

namespace qz::config {

// A rule, then another.
class AndRuleToken : public Token {
public:
    AndRuleToken(Rule first, Rule second) : first_(std::move(first)), second_(std::move(second)) {}

    bool matchTokens(Matching& matching) const override;

private:
    Rule first_;
    Rule second_;
};

// A rule or, if it does not match, another.
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

// A rule several times.
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

// A rule between two others, which becomes one entry.
class BlockToken : public Token {
public:
    BlockToken(Type type, Rule open, Rule inner, Rule close)
        : type_(type), open_(std::move(open)), inner_(std::move(inner)), close_(std::move(close)) {}

    bool matchTokens(Matching& matching) const override;

private:
    bool isAssignment() const { return type_ == Type::kUnknown; }
    Entry& openEntry(Matching& matching, const Matching::Mark& start) const;
    void closeEntry(Entry& entry, EntryList kept) const;

    Type type_;
    Rule open_;
    Rule inner_;
    Rule close_;
};

// Several lexical tokens one after the other: all of them or none.
class ChainToken : public Token {
public:
    using Links = std::vector<std::shared_ptr<const Token>>;

    explicit ChainToken(Links links) : links_(std::move(links)) {}

    bool matchTokens(Matching& matching) const override;

private:
    Links links_;
};

} // namespace qz::config

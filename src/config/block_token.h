// A rule between two others, which becomes one entry.
#pragma once

#include "config/matching.h"
#include "config/rule.h"

namespace qz::config {

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

} // namespace qz::config

// Lexical tokens one after the other, as a unit.
#pragma once

#include "config/token.h"

#include <memory>
#include <vector>

namespace qz::config {

class ChainToken : public Token {
public:
    using Links = std::vector<std::shared_ptr<const Token>>;

    explicit ChainToken(Links links) : links_(std::move(links)) {}

    bool matchTokens(Matching& matching) const override;

private:
    Links links_;
};

} // namespace qz::config

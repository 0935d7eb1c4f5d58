// Text in double quotes.
#pragma once

#include "config/lexical_analyser.h"

namespace qz::config {

class DataBlockToken;

class StringToken : public Token {
public:
    explicit StringToken(const LexicalAnalyser& lexical);

    bool matchTokens(Matching& matching) const override;

private:
    std::shared_ptr<const DataBlockToken> quoted_;
};

} // namespace qz::config

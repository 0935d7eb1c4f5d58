// One character in single quotes, which stands for its code.
#pragma once

#include "config/lexical_analyser.h"
#include "config/number_token.h"

namespace qz::config {

class DataBlockToken;

class CharToken : public NumberToken {
public:
    explicit CharToken(const LexicalAnalyser& lexical);

    // The code is signed; no character at all is 0.
    bool read(Matching& matching, Number& number) const override;

private:
    std::shared_ptr<const DataBlockToken> quoted_;
};

} // namespace qz::config

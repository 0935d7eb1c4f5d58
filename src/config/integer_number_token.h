// An integer: decimal, hexadecimal, "true" or "false".
#pragma once

#include "config/lexical_analyser.h"
#include "config/number_token.h"

namespace qz::config {

class IntegerNumberToken : public NumberToken {
public:
    explicit IntegerNumberToken(const LexicalAnalyser& lexical);

    // A decimal number of any size: what has to fit is the value of the whole expression.
    bool read(Matching& matching, Number& number) const override;

private:
    bool readHexadecimal(Matching& matching, Number& number) const;

    std::shared_ptr<const Token> digits_;
    std::shared_ptr<const Token> identifier_;
};

} // namespace qz::config

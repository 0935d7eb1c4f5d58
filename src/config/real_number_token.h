// A real: digits, a point, digits, and perhaps an exponent.
#pragma once

#include "config/lexical_analyser.h"
#include "config/number_token.h"

namespace qz::config {

class RealNumberToken : public NumberToken {
public:
    explicit RealNumberToken(const LexicalAnalyser& lexical);

    bool read(Matching& matching, Number& number) const override;

private:
    bool readExponent(Matching& matching) const;

    std::shared_ptr<const Token> digits_;
    std::shared_ptr<const Token> point_;
    std::shared_ptr<const Token> identifier_;
    std::shared_ptr<const Token> plus_;
    std::shared_ptr<const Token> minus_;
};

} // namespace qz::config

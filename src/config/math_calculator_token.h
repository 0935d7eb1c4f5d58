// An arithmetic expression; a single number is one too.
#pragma once

#include "config/value_tokens.h"

namespace qz::config {

class Calculator;

class MathCalculatorToken : public NumberToken {
public:
    explicit MathCalculatorToken(const LexicalAnalyser& lexical);

    // A sign may stand before any operand or opening parenthesis, and applies to that alone.
    bool read(Matching& matching, Number& number) const override;

private:
    bool readSign(Matching& matching) const;
    bool readOperand(Matching& matching, Number& number) const;
    bool readSignedOperand(Matching& matching, Calculator& calculator, Number& number) const;
    bool readOperator(Matching& matching, char& symbol) const;
    bool isAtOperator(const Matching& matching) const;
    bool readExpression(Matching& matching, Number& number) const;

    RealNumberToken real_;
    IntegerNumberToken integer_;
    CharToken character_;
    std::shared_ptr<const Token> plus_;
    std::shared_ptr<const Token> minus_;
    std::shared_ptr<const Token> times_;
    std::shared_ptr<const Token> over_;
    std::shared_ptr<const Token> open_;
    std::shared_ptr<const Token> close_;
};

} // namespace qz::config

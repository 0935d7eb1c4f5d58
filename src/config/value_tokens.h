// Tokens that make values of lexemes.
#pragma once

#include "config/lexical_analyser.h"
#include "config/lexical_tokens.h"
#include "config/matching.h"

#include <memory>

namespace qz::config {

// Tokens whose value is a number.
class NumberToken : public Token {
public:
    // Takes the lexemes of the number, or leaves the matching where it was. Records no failure if
    // another kind of number may begin in the same way.
    virtual bool read(Matching& matching, Number& number) const = 0;

    // An integer that does not fit an int, or a real that is not finite, is a failure.
    bool matchTokens(Matching& matching) const override;
};

// An integer: decimal, hexadecimal, "true" or "false".
class IntegerNumberToken : public NumberToken {
public:
    explicit IntegerNumberToken(const LexicalAnalyser& lexical);

    // A decimal number may have any size, because only the whole expression's value has to fit.
    bool read(Matching& matching, Number& number) const override;

private:
    bool readHexadecimal(Matching& matching, Number& number) const;

    std::shared_ptr<const Token> digits_;
    std::shared_ptr<const Token> identifier_;
};

// A real: digits, a point, digits, and perhaps an exponent.
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

// One character in single quotes, which stands for its code.
class CharToken : public NumberToken {
public:
    explicit CharToken(const LexicalAnalyser& lexical);

    // The code is signed. It is 0 if no character stands between the quotes.
    bool read(Matching& matching, Number& number) const override;

private:
    std::shared_ptr<const DataBlockToken> quoted_;
};

// Text in double quotes.
class StringToken : public Token {
public:
    explicit StringToken(const LexicalAnalyser& lexical);

    bool matchTokens(Matching& matching) const override;

private:
    std::shared_ptr<const DataBlockToken> quoted_;
};

} // namespace qz::config

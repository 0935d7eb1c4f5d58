// Tokens that make values of lexemes.
#pragma once

#include "config/lexical_analyser.h"
#include "config/lexical_tokens.h"
#include "config/matching.h"

#include <memory>

namespace qz::config {

// What has a number for its value.
class NumberToken : public Token {
public:
    // Takes what makes up the number, or leaves the matching where it was. Where another kind of
    // number may begin alike, not to match is no failure to record.
    virtual bool read(Matching& matching, Number& number) const = 0;

    // An integer that does not fit is a failure.
    bool matchTokens(Matching& matching) const override;
};

// An integer: decimal, hexadecimal, "true" or "false".
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

    // The code is signed; no character at all is 0.
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

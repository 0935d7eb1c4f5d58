#include "config/math_calculator_token.h"

#include "config/calculator.h"
#include "config/lexical_tokens.h"

namespace qz::config {

MathCalculatorToken::MathCalculatorToken(const LexicalAnalyser& lexical)
    : real_(lexical)
    , integer_(lexical)
    , character_(lexical)
    , plus_(lexical.find(SeparatorToken("+")))
    , minus_(lexical.find(SeparatorToken("-")))
    , times_(lexical.find(SeparatorToken("*")))
    , over_(lexical.find(SeparatorToken("/")))
    , open_(lexical.find(SeparatorToken("(")))
    , close_(lexical.find(SeparatorToken(")"))) {}

bool MathCalculatorToken::read(Matching& matching, Number& number) const {
    const Matching::Position start = matching.position();
    // Nearly always the expression is one number, which needs no stacks.
    const bool isNegated = readSign(matching);
    if (readOperand(matching, number) && !isAtOperator(matching)) {
        number.value = isNegated ? -number.value : number.value;
        return true;
    }
    matching.returnTo(start);
    if (readExpression(matching, number)) {
        return true;
    }
    matching.returnTo(start);
    return false;
}

bool MathCalculatorToken::readExpression(Matching& matching, Number& number) const {
    Calculator calculator;
    bool isInteger = true;
    char symbol = 0;
    while (readSignedOperand(matching, calculator, number)) {
        isInteger = isInteger && number.isInteger;
        while (calculator.isInParentheses() && matching.accept(close_.get())) {
            calculator.close();
        }
        if (readOperator(matching, symbol)) {
            calculator.addOperator(symbol);
            continue;
        }
        if (calculator.isInParentheses()) {
            return matching.fail();
        }
        number = {calculator.result(), isInteger};
        return true;
    }
    return matching.fail();
}

// Reads an operand with the parentheses that open before it.
bool MathCalculatorToken::readSignedOperand(Matching& matching, Calculator& calculator,
                                            Number& number) const {
    bool isNegated = readSign(matching);
    while (matching.accept(open_.get())) {
        calculator.open(isNegated);
        isNegated = readSign(matching);
    }
    if (!readOperand(matching, number)) {
        return false;
    }
    calculator.addOperand(isNegated ? -number.value : number.value);
    return true;
}

bool MathCalculatorToken::readSign(Matching& matching) const {
    return !matching.accept(plus_.get()) && matching.accept(minus_.get());
}

// Tries a real first, because a real begins like an integer.
bool MathCalculatorToken::readOperand(Matching& matching, Number& number) const {
    return real_.read(matching, number) || integer_.read(matching, number) ||
           character_.read(matching, number);
}

bool MathCalculatorToken::readOperator(Matching& matching, char& symbol) const {
    if (!isAtOperator(matching)) {
        return false;
    }
    symbol = matching.text().front();
    matching.advance();
    return true;
}

bool MathCalculatorToken::isAtOperator(const Matching& matching) const {
    return matching.isAt(plus_.get()) || matching.isAt(minus_.get()) ||
           matching.isAt(times_.get()) || matching.isAt(over_.get());
}

} // namespace qz::config

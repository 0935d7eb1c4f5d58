// Evaluates an expression while it is read: operands and operators come in the text's order.
#pragma once

#include <cstddef>
#include <vector>

namespace qz::config {

// Parentheses are kept on a stack on the heap, so they may be nested to any depth.
class Calculator {
public:
    void open(bool isNegated);
    void close();
    void addOperand(double value) { values_.push_back(value); }
    void addOperator(char symbol);

    bool isInParentheses() const { return openCount_ > 0; }
    double result();

private:
    void applyLast();
    void applyWhile(int precedence);

    std::vector<double> values_;
    std::vector<char> operators_; // opening parentheses too
    std::size_t openCount_ = 0;
};

} // namespace qz::config

// Evaluates an expression while it is read: operands and operators in the order they are written
// in.
#pragma once

#include <cstddef>
#include <vector>

namespace qz::config {

// Parentheses are kept on a stack in memory, so that no depth of them is too much.
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

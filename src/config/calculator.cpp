#include "config/calculator.h"

namespace qz::config {

namespace {

constexpr char kOpen = '(';
constexpr char kNegatedOpen = 'n';

int precedenceOf(char symbol) {
    switch (symbol) {
    case '*':
    case '/':
        return 2;
    case '+':
    case '-':
        return 1;
    default:
        return 0;
    }
}

double apply(char symbol, double left, double right) {
    switch (symbol) {
    case '+':
        return left + right;
    case '-':
        return left - right;
    case '*':
        return left * right;
    default:
        return left / right;
    }
}

} // namespace

void Calculator::open(bool isNegated) {
    operators_.push_back(isNegated ? kNegatedOpen : kOpen);
    ++openCount_;
}

void Calculator::close() {
    applyWhile(1);
    if (operators_.back() == kNegatedOpen) {
        values_.back() = -values_.back();
    }
    operators_.pop_back();
    --openCount_;
}

void Calculator::addOperator(char symbol) {
    applyWhile(precedenceOf(symbol));
    operators_.push_back(symbol);
}

double Calculator::result() {
    applyWhile(1);
    return values_.back();
}

void Calculator::applyWhile(int precedence) {
    while (!operators_.empty() && precedenceOf(operators_.back()) >= precedence) {
        applyLast();
    }
}

void Calculator::applyLast() {
    const double right = values_.back();
    values_.pop_back();
    values_.back() = apply(operators_.back(), values_.back(), right);
    operators_.pop_back();
}

} // namespace qz::config

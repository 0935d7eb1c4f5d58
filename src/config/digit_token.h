// A run of decimal digits.
#pragma once

#include "config/token.h"

namespace qz::config {

class DigitToken final : public Token {
public:
    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool canBegin(unsigned char character) const override;
};

} // namespace qz::config

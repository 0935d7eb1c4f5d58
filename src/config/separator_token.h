// A fixed text.
#pragma once

#include "config/token.h"

namespace qz::config {

class SeparatorToken : public Token {
public:
    explicit SeparatorToken(const char* text, bool isKept = true) : Token(text, isKept) {}

    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool canBegin(unsigned char character) const override;
    bool isOneCharacter() const override { return text().size() == 1; }
};

} // namespace qz::config

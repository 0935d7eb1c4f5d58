// Tokens that match characters.
#pragma once

#include "config/token.h"

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace qz::config {

// A fixed text.
class SeparatorToken : public Token {
public:
    explicit SeparatorToken(const char* text, bool isKept = true) : Token(text, isKept) {}

    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool canBegin(unsigned char character) const override;
    bool isOneCharacter() const override { return text().size() == 1; }
};

// A run of decimal digits.
class DigitToken final : public Token {
public:
    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool canBegin(unsigned char character) const override;
};

// A letter or "_", then letters, digits and "_".
class IdentifierToken : public Token {
public:
    IdentifierToken();

    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool canBegin(unsigned char character) const override { return begins_[character]; }

    bool matchesAllOf(std::string_view text) const;
    std::size_t lengthAt(std::string_view text, std::size_t offset) const;

private:
    // The C library is asked once, because its answer depends on a locale that hosts may change.
    std::array<bool, 256> begins_;
    std::array<bool, 256> continues_;
};

// Everything between an opening and a closing text: comments and quoted text.
class DataBlockToken : public Token {
public:
    // Escapes are texts that are skipped as a whole inside the block, so that a closing text within
    // an escape does not end the block.
    DataBlockToken(const char* opening, const char* closing, bool isKept,
                   std::vector<std::string> escapes = {});

    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool isEqual(const Token& other) const override;
    bool canBegin(unsigned char character) const override;

    // What stands between the two texts of a whole match; escapes are not resolved.
    std::string_view contents(std::string_view match) const;

private:
    std::size_t findClosing(Input& input, std::size_t offset) const;
    std::size_t escapeLength(const Input& input, std::size_t offset) const;

    std::string closing_;
    std::vector<std::string> escapes_;
    std::array<bool, 256> isSpecial_{}; // what the closing text or an escape begins with
};

} // namespace qz::config

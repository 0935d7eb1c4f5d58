// Tokens: what a text may be made of. Lexical tokens match characters, and the analyser makes a
// list of their matches. The other tokens match the items of that list. Tokens never change, so
// rules can share them.
//
// A match of a lexical token is recorded by the token's number and the place (Lexemes), not by an
// object of its own: a text has hundreds of thousands of matches.
#pragma once

#include "config/entry.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace qz::config {

class Input;
class Matching;

class Token {
public:
    Token() = default;
    virtual ~Token() = default;
    Token(const Token&) = delete;
    Token& operator=(const Token&) = delete;

    // How many characters of the input the token takes from an offset on; 0 if it does not match
    // there. Called only if canBegin is true for the character there.
    virtual std::size_t matchText(Input& input, std::size_t offset) const;

    // Takes lexemes and adds what is kept of them to the matching's output, or changes neither and
    // records the failure. A lexical token takes one lexeme of its own.
    virtual bool matchTokens(Matching& matching) const;

    // Whether the other token has the same class and the same text.
    virtual bool isEqual(const Token& other) const;

    // Whether a match can begin with this character.
    virtual bool canBegin(unsigned char character) const;

    // Whether each match is just the one character that it begins with.
    virtual bool isOneCharacter() const { return false; }

    bool isKept() const { return isKept_; }
    const std::string& text() const { return text_; }

protected:
    Token(std::string text, bool isKept) : text_(std::move(text)), isKept_(isKept) {}

private:
    std::string text_;
    bool isKept_ = true;
};

// A lexical token's number in its table. 0 stands behind the last lexeme of a text.
using TokenNumber = std::uint8_t;

// The matches of lexical tokens: tokens[i] at places[i]. They are in two arrays because matching
// looks at the tokens again and again, but at few of the places.
struct Lexemes {
    std::vector<TokenNumber> tokens; // one more, which is 0
    std::vector<Place> places;
};

} // namespace qz::config

// Tokens: what a text may be made of. Lexical tokens match characters, and the analyser makes a
// list of their matches; the other tokens match the items of that list. Tokens never change, so
// that rules share them.
//
// What a lexical token has produced is a record of it and of the place (Lexemes) rather than one
// more object of its class: it would differ in its place only, and a text has hundreds of
// thousands.
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

    // How many characters of the input it takes from an offset on; 0 if it does not match there.
    // Asked only where canBegin is true.
    virtual std::size_t matchText(Input& input, std::size_t offset) const;

    // Takes lexemes and adds what is kept of them to the matching's output, or leaves both alone
    // and has the failure recorded. A lexical token takes one lexeme of its own.
    virtual bool matchTokens(Matching& matching) const;

    // Of the same class, with the same text.
    virtual bool isEqual(const Token& other) const;

    // Whether a match of characters can begin with this one.
    virtual bool canBegin(unsigned char character) const;

    // Whether a character that it can begin with is all that it matches.
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

// What lexical tokens matched: tokens[i] at places[i]. They lie apart because matching looks at the
// tokens again and again, and at few of the places.
struct Lexemes {
    std::vector<TokenNumber> tokens; // one more, which is 0
    std::vector<Place> places;
};

} // namespace qz::config

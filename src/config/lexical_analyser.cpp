#include "config/lexical_analyser.h"

#include "config/input.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

namespace qz::config {

LexicalAnalyser::LexicalAnalyser() : tokens_(1) {}

bool LexicalAnalyser::add(std::shared_ptr<const Token> token) {
    if (token == nullptr) {
        return false;
    }
    assert(tokens_.size() <= UINT8_MAX);
    const auto number = static_cast<TokenNumber>(tokens_.size());
    for (std::size_t code = 0; code < beginnings_.size(); ++code) {
        if (token->canBegin(static_cast<unsigned char>(code))) {
            Beginning& beginning = beginnings_[code];
            if (beginning.possible.empty() && token->isOneCharacter()) {
                beginning.sure = number;
            }
            beginning.possible.push_back(number);
        }
    }
    isKept_[number] = token->isKept();
    tokens_.push_back(std::move(token));
    return true;
}

Lexemes LexicalAnalyser::analyse(std::string_view text) const {
    // Few texts have more lexemes. Memory that is not touched costs next to nothing.
    constexpr std::size_t kMaxReserved = 1U << 24;
    Lexemes lexemes;
    lexemes.tokens.reserve(std::min(text.size() / 2, kMaxReserved));
    lexemes.places.reserve(std::min(text.size() / 2, kMaxReserved));
    Input input(text);
    std::size_t length = 0;
    for (std::size_t offset = 0; offset < text.size(); offset += length) {
        const TokenNumber token = match(input, offset, length);
        if (token == kNone) {
            throw Error("Unknown symbol", {static_cast<std::uint32_t>(offset), 1});
        }
        if (isKept_[token]) {
            lexemes.tokens.push_back(token);
            lexemes.places.push_back(
                {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(length)});
        }
    }
    lexemes.tokens.push_back(kNone);
    return lexemes;
}

std::shared_ptr<const Token> LexicalAnalyser::findEqual(const Token& like) const {
    const auto found = std::find_if(tokens_.begin() + 1, tokens_.end(),
                                    [&](const auto& token) { return token->isEqual(like); });
    assert(found != tokens_.end());
    return *found;
}

TokenNumber LexicalAnalyser::match(Input& input, std::size_t offset, std::size_t& length) const {
    const Beginning& beginning = beginnings_[static_cast<unsigned char>(input.text()[offset])];
    if (beginning.sure != kNone) {
        length = 1;
        return beginning.sure;
    }
    for (const TokenNumber number : beginning.possible) {
        length = tokens_[number]->matchText(input, offset);
        if (length > 0) {
            return number;
        }
    }
    return kNone;
}

} // namespace qz::config

#include "config/lexical_analyser.h"

#include "config/input.h"

#include <algorithm>
#include <cassert>

namespace qz::config {

bool LexicalAnalyser::add(std::shared_ptr<const Token> token) {
    if (token == nullptr) {
        return false;
    }
    for (std::size_t code = 0; code < tokensByBeginning_.size(); ++code) {
        if (token->canBegin(static_cast<unsigned char>(code))) {
            tokensByBeginning_[code].push_back(token.get());
        }
    }
    tokens_.push_back(std::move(token));
    return true;
}

std::vector<Lexeme> LexicalAnalyser::analyse(std::string_view text) const {
    // Most texts have fewer lexemes than this; memory that is not touched costs next to nothing.
    constexpr std::size_t kMaxReserved = 1U << 24;
    std::vector<Lexeme> lexemes;
    lexemes.reserve(std::min(text.size() / 2, kMaxReserved));
    Input input(text);
    std::size_t length = 0;
    for (std::size_t offset = 0; offset < text.size(); offset += length) {
        const Token* const token = match(input, offset, length);
        if (token == nullptr) {
            throw Error("Unknown symbol", {static_cast<std::uint32_t>(offset), 1});
        }
        if (token->isKept()) {
            lexemes.push_back(
                {token, {static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(length)}});
        }
    }
    return lexemes;
}

std::shared_ptr<const Token> LexicalAnalyser::findEqual(const Token& like) const {
    const auto found = std::find_if(tokens_.begin(), tokens_.end(),
                                    [&](const auto& token) { return token->isEqual(like); });
    assert(found != tokens_.end());
    return *found;
}

const Token* LexicalAnalyser::match(Input& input, std::size_t offset, std::size_t& length) const {
    for (const Token* token :
         tokensByBeginning_[static_cast<unsigned char>(input.text()[offset])]) {
        length = token->matchText(input, offset);
        if (length > 0) {
            return token;
        }
    }
    return nullptr;
}

} // namespace qz::config

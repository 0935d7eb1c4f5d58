// Cuts a text into lexemes by a table of tokens.
#pragma once

#include "config/analysis_error.h"
#include "config/token.h"

#include <array>
#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

namespace qz::config {

class LexicalAnalyser {
public:
    class Error : public AnalysisError {
    public:
        using AnalysisError::AnalysisError;
    };

    LexicalAnalyser();

    // Where several tokens match, the one that was added first wins.
    bool add(std::shared_ptr<const Token> token);

    // The token of the table that is equal to this one, for rules to share; there must be one.
    template<class Kind>
    std::shared_ptr<const Kind> find(const Kind& like) const {
        return std::static_pointer_cast<const Kind>(findEqual(like));
    }

    // The lexemes that are kept. Throws Error at the first character that begins none.
    Lexemes analyse(std::string_view text) const;

    // The tokens by their numbers; number 0 is null.
    const std::vector<std::shared_ptr<const Token>>& tokens() const { return tokens_; }

private:
    static constexpr TokenNumber kNone = 0;

    // The tokens whose matches can begin with a certain character.
    struct Beginning {
        TokenNumber sure = kNone; // the first of them, if it matches just the character
        std::vector<TokenNumber> possible;
    };

    std::shared_ptr<const Token> findEqual(const Token& like) const;
    TokenNumber match(Input& input, std::size_t offset, std::size_t& length) const;

    std::vector<std::shared_ptr<const Token>> tokens_;
    std::array<bool, 256> isKept_{}; // by number
    std::array<Beginning, 256> beginnings_;
};

} // namespace qz::config

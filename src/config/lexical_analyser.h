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

    // Where several tokens match, the one that was added first wins.
    bool add(std::shared_ptr<const Token> token);

    // The token of the table that is equal to this one, for rules to share; there must be one.
    template<class Kind>
    std::shared_ptr<const Kind> find(const Kind& like) const {
        return std::static_pointer_cast<const Kind>(findEqual(like));
    }

    // The lexemes that are kept. Throws Error at the first character that begins none.
    std::vector<Lexeme> analyse(std::string_view text) const;

private:
    std::shared_ptr<const Token> findEqual(const Token& like) const;
    const Token* match(Input& input, std::size_t offset, std::size_t& length) const;

    std::vector<std::shared_ptr<const Token>> tokens_;
    std::array<std::vector<const Token*>, 256> tokensByBeginning_;
};

} // namespace qz::config

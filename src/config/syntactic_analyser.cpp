#include "config/syntactic_analyser.h"

#include "config/matching.h"

namespace qz::config {

void SyntacticAnalyser::analyse(std::span<const Lexeme> lexemes, Tree& tree) const {
    if (lexemes.empty()) {
        return;
    }
    Matching matching(lexemes, tree);
    if (grammar_.start().matchTokens(matching) && matching.isAtEnd()) {
        return;
    }
    if (matching.hasFailedAtEnd()) {
        throw Error("End Of File", {});
    }
    throw Error("Error", matching.furthestFailure());
}

} // namespace qz::config

#include "config/syntactic_analyser.h"

#include "config/matching.h"
#include "config/tree_check.h"

namespace qz::config {

void SyntacticAnalyser::analyse(const Lexemes& lexemes, Tree& tree) const {
    if (lexemes.places.empty()) {
        return;
    }
    Matching matching(lexical_.tokens(), lexemes, tree);
    if (grammar_.start().matchTokens(matching) && matching.isAtEnd()) {
        const core::AtEnd checked([&] { checkBelow(tree.root()); });
        return;
    }
    if (matching.hasFailedAtEnd()) {
        throw Error("End Of File", {});
    }
    throw Error("Error", matching.furthestFailure());
}

} // namespace qz::config

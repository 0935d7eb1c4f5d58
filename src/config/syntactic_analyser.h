// Makes a tree of a list of lexemes by the grammar.
#pragma once

#include "config/analysis_error.h"
#include "config/grammar.h"
#include "config/tree.h"

namespace qz::config {

class SyntacticAnalyser {
public:
    class Error : public AnalysisError {
    public:
        using AnalysisError::AnalysisError;
    };

    explicit SyntacticAnalyser(const LexicalAnalyser& lexical)
        : lexical_(lexical), grammar_(lexical) {}

    // Adds the entries to an empty tree, or throws Error and leaves some of them there.
    void analyse(const Lexemes& lexemes, Tree& tree) const;

private:
    const LexicalAnalyser& lexical_;
    Grammar grammar_;
};

} // namespace qz::config

// Makes a tree of a list of lexemes by the grammar.
#pragma once

#include "config/analysis_error.h"
#include "config/grammar.h"
#include "config/tree.h"

#include <span>

namespace qz::config {

class SyntacticAnalyser {
public:
    class Error : public AnalysisError {
    public:
        using AnalysisError::AnalysisError;
    };

    explicit SyntacticAnalyser(const LexicalAnalyser& lexical) : grammar_(lexical) {}

    // Adds the entries to an empty tree, or throws Error and leaves some of them there.
    void analyse(std::span<const Lexeme> lexemes, Tree& tree) const;

private:
    Grammar grammar_;
};

} // namespace qz::config

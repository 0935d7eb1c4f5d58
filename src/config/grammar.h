// The grammar of the language.
#pragma once

#include "config/lexical_analyser.h"
#include "config/rule.h"

namespace qz::config {

class Grammar {
public:
    explicit Grammar(const LexicalAnalyser& lexical);

    const Rule& start() const { return file_; }

private:
    RecursiveRule list_;
    RecursiveRule block_;
    Rule file_;
};

} // namespace qz::config

// The tokens of the language.
#pragma once

#include "config/lexical_analyser.h"

namespace qz::config {

void addVocabulary(LexicalAnalyser& analyser);

} // namespace qz::config

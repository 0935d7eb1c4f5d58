#include "config/vocabulary.h"

#include "config/lexical_tokens.h"

namespace qz::config {

namespace {

constexpr bool kKept = true;
constexpr bool kDropped = false;

} // namespace

void addVocabulary(LexicalAnalyser& analyser) {
    for (const char* blank : {" ", "\t", "\r\n"}) {
        analyser.add(std::make_shared<SeparatorToken>(blank, kDropped));
    }
    analyser.add(std::make_shared<IdentifierToken>());
    analyser.add(std::make_shared<DigitToken>());
    // Comments come before the separator "/", which they begin with.
    analyser.add(std::make_shared<DataBlockToken>("//", "\r\n", kDropped));
    analyser.add(std::make_shared<DataBlockToken>("/*", "*/", kDropped));
    for (const char* quote : {"'", "\""}) {
        const std::vector<std::string> escapes = {std::string("\\") + quote, "\\\\"};
        analyser.add(std::make_shared<DataBlockToken>(quote, quote, kKept, escapes));
    }
    for (const char* text : {";", ".", ",", "=", "+", "-", "*", "/", "{", "}", "(", ")"}) {
        analyser.add(std::make_shared<SeparatorToken>(text));
    }
}

} // namespace qz::config

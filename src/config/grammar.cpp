#include "config/grammar.h"

#include "config/lexical_tokens.h"
#include "config/math_calculator_token.h"
#include "config/rule_tokens.h"
#include "config/value_tokens.h"

namespace qz::config {

Grammar::Grammar(const LexicalAnalyser& lexical) {
    const auto text = [&](const char* separator) {
        return lexical.find(SeparatorToken(separator));
    };
    const auto nameAnd = [&](const char* separator) {
        return std::make_shared<ChainToken>(
            ChainToken::Links{lexical.find(IdentifierToken()), text(separator)});
    };
    const Rule expression = std::make_shared<MathCalculatorToken>(lexical);
    const Rule string = std::make_shared<StringToken>(lexical);

    // Characters are expressions, not a choice of their own. That choice would take the first
    // character of an expression whose result does not fit, and the error would be behind it.
    const Rule value = choice(expression, string);
    const Rule item = choice(list_, value);
    list_ = block(Type::kList, text("{"),
                  sequence(item, count(sequence(text(","), item), 0, kUnlimited)), text("}"));
    const Rule assignment = block(Type::kUnknown, nameAnd("="), choice(value, list_), text(";"));
    const Rule entries = count(choice(block_, assignment), 1, kUnlimited);
    block_ = block(Type::kBlock, nameAnd("{"), entries, text("}"));
    file_ = entries;
}

} // namespace qz::config

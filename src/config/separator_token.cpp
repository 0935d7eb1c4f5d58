#include "config/separator_token.h"

#include "config/input.h"

namespace qz::config {

std::size_t SeparatorToken::matchText(Input& input, std::size_t offset) const {
    return input.has(text(), offset) ? text().size() : 0;
}

bool SeparatorToken::canBegin(unsigned char character) const {
    return static_cast<unsigned char>(text().front()) == character;
}

} // namespace qz::config

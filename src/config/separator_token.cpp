#include "config/separator_token.h"

#include "config/input.h"

namespace qz::config {

std::size_t SeparatorToken::matchText(Input& input, std::size_t offset) const {
    const std::string_view part = text();
    if (part.size() == 1 && isKept()) {
        return 1; // its beginning is all of it
    }
    std::size_t end = offset;
    // What is dropped may go in runs: most of many texts is blanks.
    while (input.has(part, end) && (end == offset || !isKept())) {
        end += part.size();
    }
    return end - offset;
}

bool SeparatorToken::canBegin(unsigned char character) const {
    return static_cast<unsigned char>(text().front()) == character;
}

} // namespace qz::config

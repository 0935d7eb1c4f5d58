#include "config/digit_token.h"

#include "config/input.h"

namespace qz::config {

std::size_t DigitToken::matchText(Input& input, std::size_t offset) const {
    const std::string_view text = input.text();
    std::size_t end = offset;
    while (end < text.size() && canBegin(static_cast<unsigned char>(text[end]))) {
        ++end;
    }
    return end - offset;
}

bool DigitToken::canBegin(unsigned char character) const {
    return character >= '0' && character <= '9';
}

} // namespace qz::config

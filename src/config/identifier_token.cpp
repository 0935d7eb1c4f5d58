#include "config/identifier_token.h"

#include "config/input.h"

#include <cctype>

namespace qz::config {

IdentifierToken::IdentifierToken() {
    for (unsigned int code = 0; code < begins_.size(); ++code) {
        begins_[code] = code == '_' || std::isalpha(static_cast<int>(code)) != 0;
        continues_[code] = begins_[code] || (code >= '0' && code <= '9');
    }
}

std::size_t IdentifierToken::matchText(Input& input, std::size_t offset) const {
    return lengthAt(input.text(), offset);
}

bool IdentifierToken::matchesAllOf(std::string_view text) const {
    return !text.empty() && lengthAt(text, 0) == text.size();
}

std::size_t IdentifierToken::lengthAt(std::string_view text, std::size_t offset) const {
    if (!begins_[static_cast<unsigned char>(text[offset])]) {
        return 0;
    }
    std::size_t end = offset + 1;
    while (end < text.size() && continues_[static_cast<unsigned char>(text[end])]) {
        ++end;
    }
    return end - offset;
}

} // namespace qz::config

#include "config/lexical_tokens.h"

#include "config/input.h"

#include <algorithm>
#include <cctype>

namespace qz::config {

std::size_t SeparatorToken::matchText(Input& input, std::size_t offset) const {
    return input.has(text(), offset) ? text().size() : 0;
}

bool SeparatorToken::canBegin(unsigned char character) const {
    return static_cast<unsigned char>(text().front()) == character;
}

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

DataBlockToken::DataBlockToken(const char* opening, const char* closing, bool isKept,
                               std::vector<std::string> escapes)
    : Token(opening, isKept), closing_(closing), escapes_(std::move(escapes)) {
    const auto setSpecial = [&](const std::string& text) {
        isSpecial_[static_cast<unsigned char>(text.front())] = true;
    };
    setSpecial(closing_);
    std::for_each(escapes_.begin(), escapes_.end(), setSpecial);
}

std::size_t DataBlockToken::matchText(Input& input, std::size_t offset) const {
    if (!input.has(text(), offset)) {
        return 0;
    }
    const std::size_t closing = findClosing(input, offset + text().size());
    return closing == std::string_view::npos ? 0 : closing + closing_.size() - offset;
}

bool DataBlockToken::isEqual(const Token& other) const {
    return Token::isEqual(other) && closing_ == static_cast<const DataBlockToken&>(other).closing_;
}

bool DataBlockToken::canBegin(unsigned char character) const {
    return static_cast<unsigned char>(text().front()) == character;
}

std::string_view DataBlockToken::contents(std::string_view match) const {
    return match.substr(text().size(), match.size() - text().size() - closing_.size());
}

std::size_t DataBlockToken::findClosing(Input& input, std::size_t offset) const {
    if (escapes_.empty()) {
        return input.find(closing_, offset);
    }
    while (offset < input.text().size()) {
        const bool isSpecial = isSpecial_[static_cast<unsigned char>(input.text()[offset])];
        const std::size_t escape = isSpecial ? escapeLength(input, offset) : 0;
        if (isSpecial && escape == 0 && input.has(closing_, offset)) {
            return offset;
        }
        offset += escape > 0 ? escape : 1;
    }
    return std::string_view::npos;
}

std::size_t DataBlockToken::escapeLength(const Input& input, std::size_t offset) const {
    for (const std::string& escape : escapes_) {
        if (input.has(escape, offset)) {
            return escape.size();
        }
    }
    return 0;
}

} // namespace qz::config

// A letter or "_", then letters, digits and "_".
#pragma once

#include "config/token.h"

#include <array>
#include <string_view>

namespace qz::config {

class IdentifierToken : public Token {
public:
    IdentifierToken();

    std::size_t matchText(Input& input, std::size_t offset) const override;
    bool canBegin(unsigned char character) const override { return begins_[character]; }

    bool matchesAllOf(std::string_view text) const;
    std::size_t lengthAt(std::string_view text, std::size_t offset) const;

private:
    // Asked of the C library once: its answer depends on a locale that hosts may change.
    std::array<bool, 256> begins_;
    std::array<bool, 256> continues_;
};

} // namespace qz::config

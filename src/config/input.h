// The characters under lexical analysis.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace qz::config {

class Input {
public:
    explicit Input(std::string_view text) : text_(text) {}

    std::string_view text() const { return text_; }

    // For parts of a few characters: calling memcmp would take longer than comparing.
    bool has(std::string_view part, std::size_t offset) const {
        if (text_.size() - offset < part.size()) {
            return false;
        }
        for (std::size_t i = 0; i < part.size(); ++i) {
            if (text_[offset + i] != part[i]) {
                return false;
            }
        }
        return true;
    }

    // The first occurrence from an offset on, or npos. Looks for what is missing only once: a text
    // full of openings that nothing closes would otherwise take quadratic time.
    std::size_t find(std::string_view part, std::size_t offset);

private:
    struct Missing {
        std::string_view part;
        std::size_t from;
    };

    std::string_view text_;
    std::vector<Missing> missing_;
};

} // namespace qz::config

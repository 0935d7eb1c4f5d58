#include "config/input.h"

namespace qz::config {

std::size_t Input::find(std::string_view part, std::size_t offset) {
    for (const Missing& missing : missing_) {
        if (missing.part == part && missing.from <= offset) {
            return std::string_view::npos;
        }
    }
    const std::size_t found = text_.find(part, offset);
    if (found == std::string_view::npos) {
        missing_.push_back({part, offset});
    }
    return found;
}

} // namespace qz::config

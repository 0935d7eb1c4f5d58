#include "platform/posix/utf8.h"

#include "platform/utf8_sequence.h"

namespace platform {

std::optional<std::size_t> utf16Length(std::string_view text) {
    std::size_t units = 0;
    while (!text.empty()) {
        const std::size_t length = sequenceLength(text);
        if (length == 0) {
            return std::nullopt;
        }
        units += length == 4 ? 2 : 1;
        text.remove_prefix(length);
    }
    return units;
}

} // namespace platform

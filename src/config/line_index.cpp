#include "config/line_index.h"

#include <algorithm>
#include <new>

namespace qz::config {

int LineIndex::lineOf(const SourceText& text, std::size_t offset) const {
    const std::lock_guard lock(mutex_);
    try {
        if (!isMade_) {
            lineEnds_ = text.lineEnds();
            isMade_ = true;
        }
    } catch (const std::bad_alloc&) {
        return text.lineOf(offset);
    }
    const auto end = std::lower_bound(lineEnds_.begin(), lineEnds_.end(), offset);
    return static_cast<int>(end - lineEnds_.begin()) + 1;
}

void LineIndex::clear() noexcept {
    lineEnds_ = {};
    isMade_ = false;
}

} // namespace qz::config

// The lines of a text, for those who ask for many.
#pragma once

#include "config/source_text.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace qz::config {

// Made when the first one asks; several threads may ask at once.
class LineIndex {
public:
    // What SourceText::lineOf says, without a walk through the whole text each time.
    int lineOf(const SourceText& text, std::size_t offset) const;

    // Another text is coming.
    void clear() noexcept;

private:
    mutable std::mutex mutex_;
    mutable std::vector<std::uint32_t> lineEnds_;
    mutable bool isMade_ = false;
};

} // namespace qz::config

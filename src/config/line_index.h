// The lines of a text, for callers that ask for many.
#pragma once

#include "config/source_text.h"

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace qz::config {

// The first call of lineOf makes the index. Several threads may call lineOf at once.
class LineIndex {
public:
    // The result of SourceText::lineOf, without a walk through the whole text each time.
    int lineOf(const SourceText& text, std::size_t offset) const;

    // To be called before the text changes.
    void clear() noexcept;

private:
    mutable std::mutex mutex_;
    mutable std::vector<std::uint32_t> lineEnds_;
    mutable bool isMade_ = false;
};

} // namespace qz::config

// The text that is parsed.
#pragma once

#include "platform/files.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qz::config {

// The path for a file's name. A name with a NUL becomes the empty path, which no system takes: cut
// short it would be another file's name.
const char* pathOf(const std::string& fileName);

class SourceText {
public:
    SourceText() = default;

    static SourceText copyOf(std::string_view text);

    struct Failure {
        const char* verb;            // what was not possible: "open" or "read"
        platform::SystemError error; // 0 for a file that is too long or gets shorter meanwhile
    };

    // Nothing if the file cannot be opened or read.
    static std::optional<SourceText> read(const std::string& fileName, Failure& failure);

    std::string_view view() const { return {chars_.get(), size_}; }

    // The line of an offset, from 1. A CR or LF and the character behind it, whatever it is, are
    // one line's end; so is CR LF.
    int lineOf(std::size_t offset) const;

    // The offsets where lines end, in order. Throws std::bad_alloc.
    std::vector<std::uint32_t> lineEnds() const;

private:
    explicit SourceText(std::size_t size);

    // Calls back with the end of each line that ends before an offset.
    template<class Action>
    void eachLineEnd(std::size_t before, Action action) const;

    std::unique_ptr<char[]> chars_;
    std::size_t size_ = 0;
};

} // namespace qz::config

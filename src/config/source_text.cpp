#include "config/source_text.h"

#include "platform/file.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>

namespace qz::config {

namespace {

// Files of /proc have contents although their size is 0.
std::optional<SourceText> readToEnd(platform::File& file) {
    std::string bytes;
    char part[4096];
    std::size_t count = 0;
    do {
        count = file.read(part, sizeof part);
        bytes.append(part, count);
    } while (count == sizeof part && bytes.size() <= INT_MAX);
    return file.error() != 0 || bytes.size() > INT_MAX ? std::nullopt
                                                       : std::optional(SourceText::copyOf(bytes));
}

} // namespace

const char* pathOf(const std::string& fileName) {
    return fileName.find('\0') == std::string::npos ? fileName.c_str() : "";
}

SourceText::SourceText(std::size_t size)
    : chars_(std::make_unique_for_overwrite<char[]>(size)), size_(size) {}

SourceText SourceText::copyOf(std::string_view text) {
    SourceText copy(text.size());
    std::copy(text.begin(), text.end(), copy.chars_.get());
    return copy;
}

std::optional<SourceText> SourceText::read(const std::string& fileName, Failure& failure) {
    platform::File file = platform::File::waiting(pathOf(fileName));
    if (!file.isOpen()) {
        failure = {"open", file.error()};
        return std::nullopt;
    }
    // An error's column could not tell all positions in a longer file.
    const std::int64_t size = file.size();
    std::optional<SourceText> text;
    if (size == 0) {
        text = readToEnd(file);
    } else if (size > 0 && size <= INT_MAX) {
        text = SourceText(static_cast<std::size_t>(size));
        if (file.read(text->chars_.get(), text->size_) != text->size_) {
            text.reset();
        }
    }
    if (!text) {
        failure = {"read", file.error()};
    }
    return text;
}

template<class Action>
void SourceText::eachLineEnd(std::size_t before, Action action) const {
    for (std::size_t at = view().find_first_of("\r\n"); at < before;
         at = view().find_first_of("\r\n", at + 2)) {
        action(at);
    }
}

int SourceText::lineOf(std::size_t offset) const {
    int line = 1;
    eachLineEnd(offset, [&](std::size_t) { ++line; });
    return line;
}

std::vector<std::uint32_t> SourceText::lineEnds() const {
    std::vector<std::uint32_t> ends;
    eachLineEnd(size_, [&](std::size_t end) { ends.push_back(static_cast<std::uint32_t>(end)); });
    return ends;
}

} // namespace qz::config

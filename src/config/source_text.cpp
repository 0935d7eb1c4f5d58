#include "config/source_text.h"

#include "platform/files.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <string>
#include <utility>

namespace qz::config {

namespace {

class OpenFile {
public:
    explicit OpenFile(const char* path) : handle_(platform::openFileWaiting(path, error_)) {}
    ~OpenFile() {
        if (isOpen()) {
            platform::closeFile(handle_);
        }
    }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;

    bool isOpen() const { return handle_ != platform::kNoFile; }

    // Nothing if the file is too long for an error's column to tell all positions.
    std::optional<std::size_t> size() const {
        std::int64_t size = 0;
        if (platform::sizeFile(handle_, size) != 0 || size > INT_MAX) {
            return std::nullopt;
        }
        return static_cast<std::size_t>(size);
    }

    platform::SystemError error() const { return error_; }

    std::size_t read(char* buffer, std::size_t count) {
        return platform::readFile(handle_, buffer, count, error_);
    }

private:
    platform::SystemError error_ = 0;
    platform::FileHandle handle_;
};

// Files of /proc have contents although their size is 0.
std::optional<SourceText> readToEnd(OpenFile& file) {
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
    OpenFile file(pathOf(fileName));
    if (!file.isOpen()) {
        failure = {"open", file.error()};
        return std::nullopt;
    }
    const std::optional<std::size_t> size = file.size();
    std::optional<SourceText> text;
    if (size && *size == 0) {
        text = readToEnd(file);
    } else if (size) {
        text = SourceText(*size);
        if (file.read(text->chars_.get(), *size) != *size) {
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

// Line ends of configuration texts, which the language requires to be CR LF. Line ends within
// quoted text are contents and are not changed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A line feed without a carriage return before it.
struct BareLineFeed {
    size_t offset;
    bool endsComment; // a comment that begins with //
};

std::vector<BareLineFeed> bareLineFeeds(std::string_view text);

// A text whose bare line feeds are completed with carriage returns.
class CompletedLines {
public:
    // With isToComplete = false the text is the file unchanged.
    explicit CompletedLines(std::string_view file, bool isToComplete = true);

    const std::string& text() const { return text_; }

    // Converts an offset in the text to one in the file.
    size_t inFile(size_t offset) const;

    // The file for a changed text. Lines that were there before, changed or not, end as they did;
    // new lines end in bare line feeds.
    std::string restored(std::string_view changed) const;

private:
    std::string endInFile(std::string_view line) const;
    std::string fileOf(size_t from, size_t to) const;

    std::string text_;
    std::vector<size_t> added_; // offsets of the added characters in the text
};

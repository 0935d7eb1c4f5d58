// Ends of lines of configuration texts, which the language wants to be CR LF. Those within quoted
// text are contents and stay.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// A line feed without a carriage return before it.
struct BareLineFeed {
    size_t offset;
    bool endsComment; // one that begins with //
};

std::vector<BareLineFeed> bareLineFeeds(std::string_view text);

// A text whose bare line feeds have got the carriage returns that they lack.
class CompletedLines {
public:
    // As it is if nothing is to be completed.
    explicit CompletedLines(std::string_view file, bool isToComplete = true);

    const std::string& text() const { return text_; }

    // The offset in the file of one in the text.
    size_t inFile(size_t offset) const;

    // The file for a text that was changed in one stretch. What did not change is as it was in the
    // file; new lines end in bare line feeds.
    std::string restored(std::string_view changed) const;

private:
    std::string fileOf(size_t from, size_t to) const;

    std::string text_;
    std::vector<size_t> added_; // where in the text
};

// Entries as text, in the library's own layout.
#pragma once

#include "config/entry.h"
#include "config/lexical_tokens.h"

#include <climits>
#include <cstddef>
#include <string>
#include <string_view>

namespace qz::config {

// What an int can say.
inline constexpr std::size_t kLongestText = INT_MAX;

// What lines begin with: blanks of the text, and the blanks of some levels more. The first are not
// copied because they may be many.
struct Indentation {
    std::string_view blanks;
    int levels = 0;
};

// Functions return false if no text could be read again: for an empty block or list, a real that is
// not finite, a name that is no identifier, and braces that are too deep; and early if the text
// gets longer than `longest`, by which indentation could make it many times what was read. The text
// is of no use then. One value may still go beyond `longest`.
class Writer {
public:
    enum class Reals { tenDigits, shortest };

    // Indentation and depth are those of the entries to be added.
    Writer(const IdentifierToken& names, std::string_view lineEnd, Reals reals,
           Indentation indentation = {}, int depth = 0, std::size_t longest = kLongestText)
        : names_(names)
        , lineEnd_(lineEnd)
        , reals_(reals)
        , indentation_(indentation)
        , depth_(depth)
        , longest_(longest) {}

    // Adds each entry on lines of its own.
    bool addEntries(const EntryList& entries);

    // Add an entry or value without anything before or behind it.
    bool addEntry(const Entry& entry);
    bool addValue(const Entry& entry);
    void addText(std::string_view text) { text_ += text; }
    void addIndentation();

    std::string& text() { return text_; }

private:
    bool addBlock(const EntryList& entries);
    bool addList(const EntryList& items);
    bool isTooLong() const { return text_.size() > longest_; }

    const IdentifierToken& names_;
    std::string_view lineEnd_;
    Reals reals_;
    Indentation indentation_;
    int depth_;
    std::size_t longest_;
    std::string text_;
};

} // namespace qz::config

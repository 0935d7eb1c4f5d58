// Reading crash reports, which may hold anything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace core {

// Hands out a text line by line, each cut at a limit.
class LineCursor {
public:
    explicit LineCursor(std::string_view text) : left_(text) {}

    struct Line {
        std::string_view text;  // without its end
        std::string_view cut;   // what lay beyond the limit
        std::string_view whole; // the line with its end, as it stands in the text
    };

    // A limit counts the line's end and a terminator, as buffers for lines do.
    bool next(std::size_t limit, Line& line);

private:
    std::string_view left_;
};

// "address frame text": two hexadecimal numbers, of which the low 32 bits count, and the rest.
struct FrameLine {
    std::uint32_t address = 0;
    std::uint32_t frame = 0;
    std::string_view text;
};
bool parseFrame(std::string_view line, FrameLine& frame);

// "section:offset rest": where the module's path begins, but not where it ends.
struct LocatedText {
    unsigned section = 0;
    std::uint32_t offset = 0;
    std::string_view rest;
};
bool parseLocation(std::string_view text, LocatedText& location);

// "# code name at address section:offset".
struct CauseLine {
    std::uint32_t address = 0;
    unsigned section = 0;
    std::uint32_t offset = 0;
};
bool parseCause(std::string_view line, CauseLine& cause);

// "# -------------- stamp --------------"; -1 if it is no such line.
std::int64_t parseTitle(std::string_view line);

} // namespace core

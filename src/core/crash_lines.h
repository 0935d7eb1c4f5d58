// Reads crash reports with any contents.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace core {

// Hands out a text line by line, each cut at a limit of its own.
class LineCursor {
public:
    explicit LineCursor(std::string_view text) : left_(text) {}

    struct Line {
        std::string_view text;  // without its end
        std::string_view cut;   // what was beyond the limit
        std::string_view whole; // the line with its end, as it stands in the text
    };

    // `limit` counts a terminator, as buffers for lines do: the text has at most limit - 1 bytes.
    bool next(std::size_t limit, Line& line);

private:
    std::string_view left_;
};

// "address frame text": two hexadecimal numbers, of which the low 32 bits are kept, and the rest.
struct FrameLine {
    std::uint32_t address = 0;
    std::uint32_t frame = 0;
    std::string_view text;
};
bool parseFrame(std::string_view line, FrameLine& frame);

// "section:offset rest". The rest begins with the module's path; nothing marks the path's end.
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

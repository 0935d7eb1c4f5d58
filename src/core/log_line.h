// The text of a message in a file and on the console.
#pragma once

#include <cstddef>
#include <cstdint>

namespace core {

// The level's name, padded to seven characters.
struct PaddedLevel {
    explicit PaddedLevel(unsigned int level);

    char text[8] = "       ";
};

// The module name of the log's own messages.
inline constexpr char kLogModule[] = "LOG";

// A message of the log itself: a number and what it counts.
struct LogRemark {
    LogRemark(std::uint32_t number, const char* what);

    char text[64];
};

struct LostRemark : LogRemark {
    explicit LostRemark(std::uint32_t number) : LogRemark(number, "messages lost") {}
};

class LogLine {
public:
    static constexpr std::size_t kSize = 2048;

    // Cuts at kSize, line break included. Uses no printf: a caller pays for this on every message.
    LogLine(double time, unsigned int level, const char* module, const char* message);

    const char* text() const { return text_; }
    std::size_t length() const { return length_; }

private:
    void append(const char* text, std::size_t length);
    void append(const char* text);
    void appendTime(double time);
    void endLine();

    std::size_t length_ = 0;
    char text_[kSize];
};

} // namespace core

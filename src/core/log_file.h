// A log file, written in batches of whole lines.
#pragma once

#include "core/log_line.h"
#include "platform/text_file.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace core {

// A full disk refuses lines. The file then ends with its last whole line, the messages that did not
// get in are counted, and their number is the first line when the disk takes lines again.
class LogFile {
public:
    LogFile() = default;
    // Writes what is left, and the number of lost messages that the file does not have yet.
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    // Moves an existing file to "<path>.old" and replaces an older one there. False if the file
    // cannot be opened.
    bool open(const char* path);

    // `messages`: how many are lost if the line is; `time` is that of its message.
    void append(const LogLine& line, double time, std::uint32_t messages);

    // Hands all lines to the system. Takes no lock and allocates nothing.
    void flush();

private:
    struct Line {
        std::size_t end; // in the buffer
        std::uint32_t messages;
    };

    void begin(double time);
    void put(const LogLine& line, std::uint32_t messages);
    void keepWholeLines(std::size_t taken);

    platform::TextFile file_ = platform::kNoTextFile;
    std::uint32_t lost_ = 0; // messages
    bool endsInHalfLine_ = false;
    std::size_t used_ = 0; // of the buffer
    std::size_t lineCount_ = 0;
    std::array<Line, 256> lines_; // a batch of the writer thread has fewer
    char buffer_[32768];
};

} // namespace core

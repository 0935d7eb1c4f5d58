// The open log files. Touched by one thread at a time: the writer, or whoever starts and ends it.
#pragma once

#include "core/log_line.h"
#include "core/log_record.h"
#include "platform/text_file.h"

#include <memory>

namespace core {

class LogOutputs {
public:
    // Where files opened from now on go.
    void setDirectory(const char* directory);

    void open(const char* name, const char* moduleFilter, std::uint32_t mask);

    // Opens, changes or closes an output, as a request record says.
    void handle(const LogRecord& request);

    // Whether any output takes the message, so that no line is made for none.
    bool wants(std::uint32_t level, const char* module) const;

    void write(std::uint32_t level, const char* module, const LogLine& line);

    // Hands everything written to the system.
    void flush();

    // The same for the end of a process whose other threads were killed; see platform/text_file.h.
    void flushWithoutLock();

    void closeAll();

private:
    struct Output {
        Output() = default;
        ~Output();
        Output(const Output&) = delete;
        Output& operator=(const Output&) = delete;

        bool accepts(std::uint32_t level, const char* module) const;
        void append(const LogLine& line);
        void flush();

        std::unique_ptr<Output> next;
        platform::TextFile file = platform::kNoTextFile;
        std::uint32_t mask = 0;
        char moduleFilter[64] = "";
        char name[64] = "";
        std::size_t used = 0; // of the buffer
        char buffer[32768];   // more than a batch of the writer thread, as a rule
    };

    // The pointer that holds the output of that name; the one at the end of the list if there is
    // none.
    std::unique_ptr<Output>& find(const char* name);

    std::unique_ptr<Output> first_;
    char directory_[256] = "";
};

} // namespace core

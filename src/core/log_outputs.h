// The open log files, for one thread at a time: the writer, or a thread that starts or ends it.
#pragma once

#include "core/log_file.h"
#include "core/log_record.h"

#include <cstdint>
#include <memory>

namespace core {

struct LogMessage {
    double time;
    std::uint32_t level;
    const char* module;
    const char* text;
    std::uint32_t count = 1; // messages that are lost if this one is
};

class LogOutputs {
public:
    // The directory of files that are opened later. False if the text is too long and was cut.
    bool setDirectory(const char* directory);

    // False if the file cannot be opened.
    bool open(const char* name, const char* moduleFilter, std::uint32_t mask);

    // Opens, changes or closes an output, as a request record says.
    void handle(const LogRecord& request);

    // Makes no line for a message that no output takes.
    void write(const LogMessage& message);

    // Hands everything written to the system. Takes no lock and allocates nothing.
    void flush();

    void closeAll();

private:
    struct Output {
        bool accepts(const LogMessage& message) const;

        std::unique_ptr<Output> next;
        LogFile file;
        std::uint32_t mask = 0;
        char moduleFilter[64] = "";
        char name[64] = "";
    };

    // The pointer that holds the output of that name; the null one at the end of the list if there
    // is none.
    std::unique_ptr<Output>& find(const char* name);

    std::unique_ptr<Output> first_;
    char directory_[256] = "";
};

} // namespace core

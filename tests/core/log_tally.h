// Counts what becomes of numbered messages.
#pragma once

#include "Core/Log.h"
#include "support/test.h"

namespace qz::test {

inline void logNumber(int thread, int number) {
    const std::string text = std::to_string(thread) + ' ' + std::to_string(number) + '.';
    qz_log("T", QZ_LOG_INFO, text.c_str());
}

// The numbers in a log file and those reported lost. Checks that each thread's are in order.
struct LogTally {
    explicit LogTally(const std::string& text) {
        std::istringstream stream(text);
        std::map<int, int> next;
        for (std::string line; std::getline(stream, line);) {
            const std::string behindTime = line.substr(std::min<std::size_t>(10, line.size()));
            int count = 0, thread = 0, number = 0, length = -1;
            if (std::sscanf(behindTime.c_str(), "WARNING LOG: %d messages lost%n", &count,
                            &length) == 1) {
                lost += count;
            } else {
                std::sscanf(behindTime.c_str(), "INFO    T: %d %d.%n", &thread, &number, &length);
            }
            if (count == 0 && length > 0) {
                ++written;
                EXPECT_GE(number, std::exchange(next[thread], number + 1)) << "out of order";
            }
            isTorn = isTorn || (line.find("T: ") != std::string::npos &&
                                length != static_cast<int>(behindTime.size()));
        }
    }

    std::int64_t written = 0;
    std::int64_t lost = 0;
    bool isTorn = false; // a line is incomplete, or is two in one
};

} // namespace qz::test

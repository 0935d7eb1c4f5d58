#include "failure.h"
#include "log_commands.h"
#include "platform/shared_memory.h"
#include "terminal.h"

#include "Core/Log.h"
#include "Shm/RingBuffer.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

// A log goes by this and its name in shared memory; docs/formats/shared-memory.md has the lines.
constexpr std::string_view kPrefix = "qz_log.";
constexpr std::chrono::milliseconds kPause(20);

// "00012.345 WARNING NET: server is late" in its parts; without them if it is something else.
struct Line {
    std::string_view time;
    std::string_view level;
    std::string_view module;
    std::string_view rest; // from behind the level

    explicit Line(std::string_view line) : rest(line) {
        const std::size_t levelStart = line.find(' ') + 1;
        const std::size_t levelEnd = line.find(' ', levelStart);
        const std::size_t moduleStart = line.find_first_not_of(' ', levelEnd);
        const std::size_t moduleEnd = line.find(": ", moduleStart);
        if (levelStart == 0 || moduleEnd == std::string_view::npos) {
            return;
        }
        time = line.substr(0, levelStart);
        level = line.substr(levelStart, levelEnd - levelStart);
        module = line.substr(moduleStart, moduleEnd - moduleStart);
        rest = line.substr(levelEnd);
    }
};

// Bytes of the character in front, if it is one beyond ASCII that terminals only draw; else 0.
std::size_t lengthOfDrawn(std::string_view text) {
    const auto byteAt = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const auto isBetween = [](unsigned char byte, int first, int last) {
        return byte >= first && byte <= last;
    };
    const unsigned char lead = byteAt(0);
    const std::size_t length = isBetween(lead, 0xC2, 0xDF)   ? 2
                               : isBetween(lead, 0xE0, 0xEF) ? 3
                               : isBetween(lead, 0xF0, 0xF4) ? 4
                                                             : 0;
    if (length == 0 || length > text.size()) {
        return 0;
    }
    // The least second byte excludes the second set of control characters, and longer forms of
    // shorter characters, which some terminals take for them.
    const int least = lead == 0xC2 || lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    for (std::size_t i = 1; i < length; ++i) {
        if (!isBetween(byteAt(i), i == 1 ? least : 0x80, 0xBF)) {
            return 0;
        }
    }
    return length;
}

// What another process has written moves no cursor and changes no title here.
std::string printable(std::string_view text) {
    std::string shown;
    text = text.substr(0, text.find_last_not_of("\r\n") + 1);
    while (!text.empty()) {
        const auto byte = static_cast<unsigned char>(text.front());
        std::size_t length = 1;
        if (byte == '\n') {
            shown += "\n    ";
        } else if (byte == '\t' || (byte >= 0x20 && byte < 0x7F)) {
            shown += text.front();
        } else if (const std::size_t drawn = lengthOfDrawn(text); drawn != 0) {
            shown += text.substr(0, drawn);
            length = drawn;
        } else {
            shown += '?';
        }
        text.remove_prefix(length);
    }
    return shown;
}

bool isWanted(const Line& line, std::string_view text, const FollowOptions& options) {
    const int rank = rankOfLevel(std::string(line.level));
    return (options.rank < 0 || (rank >= 0 && rank <= options.rank)) &&
           (options.module.empty() || line.module == options.module) &&
           text.find(options.text) != std::string_view::npos;
}

void show(const Line& line, bool colours) {
    const int rank = rankOfLevel(std::string(line.level));
    const std::string level = printable(line.level);
    const std::string shown =
        rank >= 0 && colours ? coloured(stdout, qz_log_levels()[rank].colour, level) : level;
    print(printable(line.time) + shown + printable(line.rest) + "\n");
}

class LogReader : private CRingMessageBuffer {
public:
    explicit LogReader(const std::string& section) {
        if (Open(section.c_str(), 0, nullptr) == 0) {
            throw Failure("the log cannot be opened");
        }
    }

    bool isLapped() { return IsReadOverwritten() != 0; }

    // Nothing if there is no line, which is not the same as an empty one.
    bool read(std::string_view& text) {
        unsigned long words[3] = {};
        std::int64_t time = 0;
        if (GetMessageA(words[0], words[1], words[2], time, text_, sizeof text_ - 1) == 0) {
            return false;
        }
        text = text_;
        return true;
    }

private:
    char text_[1024] = "";
};

} // namespace

int rankOfLevel(const std::string& name) {
    const qz_log_level* const levels = qz_log_levels();
    int rank = 0;
    while (levels[rank].name != nullptr && levels[rank].name != name) {
        ++rank;
    }
    return levels[rank].name != nullptr ? rank : -1;
}

void logList() {
    std::vector<std::string> names;
    platform::listSharedMemory(
        [](void* context, const char* section) {
            const std::string_view name = section;
            if (name.starts_with(kPrefix)) {
                static_cast<std::vector<std::string>*>(context)->push_back(
                    printable(name.substr(kPrefix.size())));
            }
        },
        &names);
    std::ranges::sort(names);
    for (const std::string& name : names) {
        print(name + "\n");
    }
}

void logFollow(const std::string& name, const FollowOptions& options) {
    const std::string section = std::string(kPrefix) + name;
    if (!platform::sharedMemoryExists(section.c_str())) {
        throw Failure("no running program publishes a log " + printable(name) +
                      "; see qz log list");
    }
    LogReader reader(section);
    const auto start = Clock::now();
    unsigned long shown = 0;
    while (shown < options.count && Clock::now() - start < options.time) {
        if (reader.isLapped()) {
            print("... lines were missed\n");
        }
        std::string_view text;
        if (!reader.read(text)) {
            if (std::fflush(stdout) != 0) {
                return; // nobody looks any more; the caller says so
            }
            std::this_thread::sleep_for(kPause);
            continue;
        }
        const Line line(text);
        if (isWanted(line, text, options)) {
            show(line, options.colours);
            ++shown;
        }
    }
}

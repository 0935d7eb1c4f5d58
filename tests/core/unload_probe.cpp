// Loads and unloads the library again and again, as it is and with a running log.
#include "support/loaded_library.h"

#include <cstdio>
#include <string_view>

namespace {

using LogStart = int (*)(const char*, const char*);
using Log = void (*)(const char*, unsigned int, const char*);

bool loadOnce(const char* path, bool withLog) {
    const Library library = load(path);
    if (library == nullptr) {
        return false;
    }
    if (withLog) {
        const auto start = reinterpret_cast<LogStart>(find(library, "qz_log_start"));
        const auto log = reinterpret_cast<Log>(find(library, "qz_log"));
        if (start == nullptr || log == nullptr || start(".", "unload") != 0) {
            return false;
        }
        log("M", 0x40, "the only line");
    }
    return unload(library);
}

bool lineWasWritten() {
    std::FILE* file = std::fopen("unload.log", "r");
    char text[512] = "";
    bool found = false;
    while (file != nullptr && std::fgets(text, sizeof text, file) != nullptr) {
        found = found || std::string_view(text).find("the only line") != std::string_view::npos;
    }
    if (file != nullptr) {
        std::fclose(file);
    }
    return found;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        return 2;
    }
    for (int i = 0; i < 100; ++i) {
        const bool withLog = i % 10 == 0;
        if (!loadOnce(argv[1], withLog) || (withLog && !lineWasWritten())) {
            std::fprintf(stderr, "failed at load %d\n", i);
            return 1;
        }
    }
    return 0;
}

/* Logs a line from C++ and prints a live value of its own beside those of the library. */
#include <Core/Log.h>
#include <Core/Watch.h>

#include <cstdio>
#include <string>

namespace {

size_t printGreetings(unsigned int, char* buffer, size_t size, void* count) {
    const int printed = std::snprintf(buffer, size, "%d so far", *static_cast<int*>(count));
    return static_cast<size_t>(printed);
}

std::string allWatches() {
    std::string text(4096, '\0');
    text.resize(QZ_watch_get_all(0, text.data(), text.size()));
    return text;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s DIRECTORY\n", argv[0]);
        return 2;
    }
    if (qz_log_start(argv[1], "hello_cpp") != 0) {
        return 1;
    }
    int greetings = 0;
    QZ_watch_set("Greetings", printGreetings, &greetings);
    qz_log("HELLO", QZ_LOG_INFO, "hello from C++");
    ++greetings;
    std::fputs(allWatches().c_str(), stdout);
    QZ_watch_reset("Greetings");
    qz_log_stop();
}

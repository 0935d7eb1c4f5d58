// The log: every message is in the file, complete and in order, or the file counts it as lost.
#include "driver.h"

#define QZ_LOG_NO_SHORT_NAMES
#include "Core/Log.h"

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace {

constexpr char kModule[] = "FAULT";
constexpr int kMessages = 40; // in a run

int sent = 0;
bool started = false;

void send() {
    char text[64];
    std::snprintf(text, sizeof text, "message %d of some length, to fill lines", ++sent);
    qz_log(kModule, QZ_LOG_INFO, text);
    if (sent % 8 == 0) {
        const Aside aside;
        usleep(2000); // lets the writer work in several batches
    }
}

void readHook() {
    if (step(qz_log_hook_start() == 0, "qz_log_hook_start")) {
        send();
        while (const qz_log_entry* const entry = qz_log_hook_read()) {
            holds(entry->message != nullptr && entry->module != nullptr, "an entry without text");
        }
        qz_log_hook_stop();
    }
}

void readAlong() {
    qz_log_reader* const reader = qz_log_reader_open();
    if (step(reader != nullptr, "qz_log_reader_open")) {
        send();
        while (const qz_log_entry* const entry = qz_log_reader_read(reader)) {
            holds(entry->message != nullptr && entry->module != nullptr, "an entry without text");
        }
        qz_log_reader_close(reader);
    }
}

// Messages that the file accounts for: complete ones, and those that it counts as lost.
struct Account {
    int written = 0, lost = 0, last = 0;

    void read(const std::string& line) {
        int number = 0, count = 0, end = 0;
        const std::size_t at = line.find(": ");
        const char* const text = at == std::string::npos ? "" : line.c_str() + at + 2;
        if (std::sscanf(text, "message %d of some length, to fill lines%n", &number, &end) == 1 &&
            end != 0) {
            whole(text[end] == '\0' && line.find(kModule) < at, "a line is glued to another");
            whole(number > last, "messages in another order");
            last = number;
            ++written;
        } else if (std::sscanf(text, "%d messages lost", &count) == 1) {
            lost += count;
        } else {
            whole(line.find("message ") == std::string::npos, "half a line");
        }
    }
};

void check(const char* path, bool isComplete) {
    const std::string text = readFile(path);
    Account account;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find('\n', at);
        whole(end != std::string::npos, "the last line has no end");
        account.read(text.substr(at, end - at));
        at = end == std::string::npos ? text.size() : end + 1;
    }
    counted(!isComplete || account.written + account.lost >= sent, "messages without a count");
}

} // namespace

void prepare() {}

void work() {
    started = started || step(qz_log_start(".", "main") == 0, "qz_log_start");
    if (!started) {
        giveUp(); // the log has ended
    }
    qz_log_set_output("other", kModule, QZ_LOG_ALL);
    for (int i = 0; i < kMessages; ++i) {
        send();
    }
    readHook();
    readAlong();
    qz_log_set_output("other", nullptr, isDisturbed() ? QZ_LOG_ALL : 0);
    {
        const Aside aside;
        usleep(20000);
    }
}

// An output that could not be opened is missing without a message; its file may have been made.
void finish() {
    send();
    qz_log_stop();
    check("main.log", !readFile("main.log").empty());
    check("other.log", false);
}

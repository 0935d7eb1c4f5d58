// Arguments, variables, temporary files, strings, the pacing of frames, which interruptions must
// not shorten, and publishing.
#include "driver.h"

#include "Core/Clock.h"
#include "Core/Environment.h"
#include "Util/ConsoleArgs.h"
#include "Util/FPS_Controller.h"
#include "Util/Publish.h"
#include "Util/Strings.h"
#include "Util/TempFilesManager.h"

#include <cstring>
#include <new>
#include <string>

#include <unistd.h>

namespace {

const std::string kPath = ".\\Data\\\\Scripts/./A file of some length.LUA";
const std::string kKey = "data/scripts/a file of some length.lua";
const std::string kPrefix = "fault";
constexpr char kProgram[] = "util_fault";

void readArguments() {
    const int count = SYS_argc();
    const char* const* const arguments = SYS_argv();
    if (step(count == 1 && arguments != nullptr && arguments[0] != nullptr, "SYS_argv")) {
        holds(arguments[1] == nullptr, "the end of the arguments");
        stepOrThrow<std::bad_alloc>("ConsoleArgs", [&] {
            const qz::ConsoleArgs parsed(count, arguments);
            holds(parsed.size() == 1, "ConsoleArgs");
        });
    }
    step(std::strstr(SYS_cmdline(), "util_fault") != nullptr, "SYS_cmdline");
    step(std::strstr(SYS_bindir(), "bin") != nullptr, "SYS_bindir");
}

void setVariable() {
    char value[16] = "";
    if (step(SYS_putenv("QZ_FAULT_VALUE", "seven") != 0, "SYS_putenv")) {
        step(SYS_getenv("QZ_FAULT_VALUE", value, sizeof value) == 1 &&
                 std::strcmp(value, "seven") == 0,
             "SYS_getenv");
    }
}

void makeFile() {
    std::string name;
    stepOrThrow<std::bad_alloc>("TempFilesManager", [&] {
        CoreUtils::TempFilesManager files;
        name = files.newTempFile(kPrefix);
        if (step(!name.empty(), "newTempFile")) {
            const Aside aside;
            writeFile(name, "temporary");
        }
    });
    const Aside aside;
    step(name.empty() || !std::filesystem::exists(name), "removing a temporary file");
}

void pace() {
    constexpr int kFrames = 3;
    FPS_Controller pacing(200);
    pacing.StartFrame();
    const double start = QZ_get_time();
    for (int i = 0; i < kFrames; ++i) {
        pacing.StartFrame();
    }
    // Sleeps are rounded down to whole milliseconds.
    holds(QZ_get_time() - start > kFrames * 0.004 - 0.001, "a frame that is too short");
}

void publish() {
    for (int i = 0; i < 3; ++i) {
        step(qz_publish(kProgram) == 1, "qz_publish");
    }
    qz_publish_stop();
}

} // namespace

void prepare() {
    std::filesystem::create_directory("Temp");
}

void work() {
    readArguments();
    setVariable();
    makeFile();
    stepOrThrow<std::bad_alloc>("normalizePath", [] {
        std::string key;
        qz::normalizePath(kPath, key);
        holds(key == kKey, "normalizePath");
    });
    pace();
    publish();
}

void finish() {
    const std::string ours = kProgram + ("." + std::to_string(getpid()));
    for (const auto& entry : std::filesystem::directory_iterator("/dev/shm")) {
        holds(!entry.path().filename().string().ends_with(ours), "shared memory is left behind");
    }
}

// Crash reports: whatever call fails, the process still dies of the original fault, and retracing
// loses no report.
#include "driver.h"

#include "Core/CrashReport.h"

#include <csignal>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr char kReport[] = "reports/game-20260101-120000.crash";
constexpr char kCopy[] = "reports/game-20260101-120000.crash.info";
constexpr char kText[] = "# -------------- 20260101-120000 --------------\n/bin/game\n"
                         "# C0000005 ACCESS_VIOLATION at 00001234 01:00000234\n"
                         "00001234 00005678 0001:00000234 /bin/game\n";

std::ptrdiff_t countReports() {
    const Aside aside;
    std::ptrdiff_t reports = 0;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        reports += entry.path().extension() == ".crash" && entry.file_size() > 50;
    }
    return reports;
}

void crash() {
    const std::ptrdiff_t before = countReports();
    const pid_t child = fork();
    if (child == 0) {
        alarm(8);
        raise(SIGSEGV);
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    holds(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV, "the process died of something else");
    const bool isReported = countReports() > before;
    step(isReported, "a report");
    const Aside aside;
    for (const auto& entry : std::filesystem::directory_iterator(".")) {
        if (entry.path().extension() == ".crash") {
            std::filesystem::remove(entry.path());
        }
    }
}

void retrace() {
    {
        const Aside aside;
        std::filesystem::remove(kCopy);
    }
    const int copies = bt_retrace("reports/");
    step(copies == 1, "bt_retrace");
    const Aside aside;
    whole(readFile(kReport) == kText, "a report was changed");
    whole(std::filesystem::exists(kCopy) == (copies == 1), "a copy that was counted");
    const std::string text = readFile(kCopy);
    whole(copies != 1 || (text.ends_with('\n') && text.find("00001234 00005678") != text.npos),
          "an annotated copy");
}

} // namespace

void prepare() {
    std::filesystem::create_directory("reports");
    writeFile(kReport, kText);
}

void work() {
    holds(bt_init("fault") == nullptr, "another handler than the system's was replaced");
    crash();
    bt_fini();
    retrace();
}

void finish() {}

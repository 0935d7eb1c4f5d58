#include "crash_probe.h"

#include "Core/CrashReport.h"
#include "Core/Environment.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gnu/libc-version.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace {

int callsLeft = 1;

void otherHandler(int) {
    [[maybe_unused]] const ssize_t written = write(STDOUT_FILENO, "other handler\n", 14);
    if (--callsLeft == 0) {
        _exit(7);
    }
}

const pid_t parent = getpid();

// Never returns in the parent, so its other threads go on.
void otherHandlerThatStays(int) {
    while (getpid() == parent) {
        pause();
    }
    _exit(7);
}

void blockAllSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

struct sigaction replaced;

void* runWithSmallStackForHandlers(void*) {
    static char memory[8192];
    stack_t stack{};
    stack.ss_sp = memory;
    stack.ss_size = sizeof memory;
    sigaltstack(&stack, nullptr);
    die();
    return nullptr;
}

// The report meets a fault.
void abortBlocked() {
    blockAllSignals();
    Dl_info library{}; // abort() is in it; a report reads its beginning
    dladdr(reinterpret_cast<void*>(gnu_get_libc_version), &library);
    mprotect(library.dli_fbase, 1, PROT_NONE);
    std::abort();
}

// Another signal is pending.
void abortSignalled() {
    blockAllSignals();
    kill(getpid(), SIGTRAP);
    std::abort();
}

void useUpDescriptors() {
    const rlimit few{100, 100};
    setrlimit(RLIMIT_NOFILE, &few);
    while (open("/dev/null", O_RDONLY) >= 0) {
    }
}

// Dies in a thread and, while its fault is being reported, in a forked child.
void dieInForkedChild() {
    std::thread(die).detach();
    const auto isReport = [](const auto& entry) { return entry.path().extension() == ".crash"; };
    while (std::ranges::none_of(std::filesystem::directory_iterator("."), isReport)) {
    }
    const pid_t child = fork();
    if (child == 0) {
        die();
    }
    waitpid(child, nullptr, 0);
    std::exit(0);
}

void dieAfterForkedChildren() {
    for (int i = 0; i < 2; ++i) {
        if (fork() == 0) {
            die();
        }
    }
    while (wait(nullptr) > 0) {
    }
}

// More often than a process writes reports.
void ignoreSignals() {
    bt_fini();
    signal(SIGTRAP, SIG_IGN);
    bt_init(nullptr);
    for (int i = 0; i < 20; ++i) {
        raise(SIGTRAP);
    }
}

// Nothing may take the place of the standard streams.
void closeStreams() {
    bt_fini();
    for (const int stream : {0, 1, 2}) {
        close(stream);
    }
    bt_init(nullptr);
    for (const int stream : {0, 1, 2}) {
        if (fcntl(stream, F_GETFD) >= 0) {
            _exit(3);
        }
    }
}

// The first thread ends; another one asks about the process, and dies.
void endFirstThread() {
    static const auto isFirstAlive = [] {
        char byte = 0;
        return readlink("/proc/self/exe", &byte, 1) > 0;
    };
    std::thread([] {
        while (isFirstAlive()) {
            std::this_thread::yield();
        }
        if (SYS_argc() == 3 && *SYS_bindir() != 0) {
            die();
        }
        _exit(3);
    }).detach();
    pthread_exit(nullptr);
}

void deleteProgram() {
    std::filesystem::remove(std::filesystem::read_symlink("/proc/self/exe"));
    bt_init(nullptr);
}

} // namespace

const Functions kSystemWays = {{"abort_blocked", abortBlocked},
                               {"abort_signalled", abortSignalled}};
const Functions kSystemPreparations = {
    {"after_children", dieAfterForkedChildren},
    // The thread ends when it next waits or writes.
    {"cancelled", [] { pthread_cancel(pthread_self()); }},
    {"deleted", deleteProgram},
    {"firstless", endFirstThread},
    {"forked", dieInForkedChild},
    {"ignoring", ignoreSignals},
    {"streamless", closeStreams},
    {"without_descriptors", useUpDescriptors},
};

void makeQuiet() {
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
}

// Writes behind the end of a mapped file.
void dieInSystemWay() {
    const int file = open("mapped", O_RDWR | O_CREAT | O_TRUNC, 0600);
    auto* bytes = static_cast<volatile char*>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0));
    bytes[0] = 1;
}

void installOtherHandler(OtherHandler kind) {
    struct sigaction action {};
    action.sa_handler = kind == OtherHandler::stays ? otherHandlerThatStays : otherHandler;
    action.sa_flags = kind == OtherHandler::returnsOnce ? static_cast<int>(SA_RESETHAND) : 0;
    callsLeft = kind == OtherHandler::exits ? 1 : 100;
    sigaction(SIGSEGV, &action, nullptr);
}

Function replaceHandler() {
    struct sigaction action {};
    action.sa_handler = otherHandler;
    sigaction(SIGSEGV, &action, &replaced);
    return [] { sigaction(SIGSEGV, &replaced, nullptr); };
}

void dieInForeignThread() {
    pthread_t thread{};
    pthread_create(&thread, nullptr, runWithSmallStackForHandlers, nullptr);
    pthread_join(thread, nullptr);
}

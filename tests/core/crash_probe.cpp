// Dies in one of several ways; crash_test.py looks at the report. crash_probe <way>
// [main|thread|...], or crash_probe retrace <directory>, which exits with the number of reports.
#include "crash_probe.h"

#include "Core/CrashReport.h"
#include "Core/Log.h"
#include "Core/Threads.h"
#include "Tasks/TaskManager.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

#if defined(__GNUC__) && !defined(__clang__)
#    define PROBE_FUNCTION __attribute__((noinline, noipa))
#else
#    define PROBE_FUNCTION __attribute__((noinline))
#endif

// Assembly, because the compiler and the sanitizers would change such code.
extern "C" {

PROBE_FUNCTION void dieOfNull() {
    asm volatile("movl $1, (%0)" : : "r"(nullptr) : "memory");
}

PROBE_FUNCTION void dieOfDivision() {
    asm volatile("xorl %%edx, %%edx\n\tmovl $1, %%eax\n\txorl %%ecx, %%ecx\n\tdivl %%ecx"
                 :
                 :
                 : "eax", "ecx", "edx");
}

PROBE_FUNCTION void dieOfFloatDivision() {
    const unsigned trapOnDivision = 0x1D80;
    asm volatile("ldmxcsr %0" : : "m"(trapOnDivision));
    asm volatile("xorps %%xmm0, %%xmm0\n\tmovss %0, %%xmm1\n\tdivss %%xmm0, %%xmm1"
                 :
                 : "m"(*"\0\0\x80\x3F")
                 : "xmm0", "xmm1");
}

PROBE_FUNCTION void dieOfIllegalInstruction() {
    asm volatile("ud2");
}

PROBE_FUNCTION void dieOfBreakpoint() {
    asm volatile("int3");
}

PROBE_FUNCTION void dieOfSingleStep() {
    asm volatile("pushf\n\torl $0x100, (%%rsp)\n\tpopf\n\tnop" : : : "memory", "cc");
}

PROBE_FUNCTION void dieOfPrivilege() {
    asm volatile("hlt");
}

PROBE_FUNCTION void dieOfAbort() {
    std::abort();
}

PROBE_FUNCTION void dieOfTerminate() {
    std::terminate();
}

PROBE_FUNCTION void dieOfException() {
    throw std::runtime_error("nobody wants this");
}

PROBE_FUNCTION void dieInNowhere() {
    void (*volatile nowhere)() = nullptr;
    asm volatile("call *%0" : : "r"(nowhere) : "memory");
}

PROBE_FUNCTION int dieOfOverflow(int depth) {
    volatile char room[256];
    room[0] = static_cast<char>(depth);
    asm volatile("" : : "r"(room) : "memory");
    return dieOfOverflow(depth + 1) + room[0];
}

PROBE_FUNCTION int dieOfLargeFrames(int depth) {
    volatile char room[300'000];
    room[0] = static_cast<char>(depth);
    asm volatile("" : : "r"(room) : "memory"); // the compiler must keep all of it
    return dieOfLargeFrames(depth + 1) + room[0];
}

PROBE_FUNCTION void outerFrame(void (*way)()) {
    way();
    std::puts("still alive");
}
}

namespace {

struct Way {
    const char* name;
    void (*function)();
};

void overflow() {
    static_cast<void>(dieOfOverflow(0));
}

void overflowInLargeSteps() {
    static_cast<void>(dieOfLargeFrames(0));
}

constexpr Way kWays[] = {
    {"null", dieOfNull},
    {"division", dieOfDivision},
    {"float_division", dieOfFloatDivision},
    {"illegal", dieOfIllegalInstruction},
    {"breakpoint", dieOfBreakpoint},
    {"single_step", dieOfSingleStep},
    {"privilege", dieOfPrivilege},
    {"abort", dieOfAbort},
    {"abort_blocked", abortBlocked},
    {"abort_signalled", abortSignalled},
    {"terminate", dieOfTerminate},
    {"exception", dieOfException},
    {"nowhere", dieInNowhere},
    {"overflow", overflow},
    {"large_frames", overflowInLargeSteps},
    {"system", dieInSystemWay},
};

struct Other {
    const char* where;
    OtherHandler kind;
};

constexpr Other kOtherHandlers[] = {{"chained", OtherHandler::exits},
                                    {"chained_returning", OtherHandler::returns},
                                    {"chained_once", OtherHandler::returnsOnce},
                                    {"forked", OtherHandler::stays}};

// Installs a handler for uncaught exceptions above the library's, and the library's above it again.
void entangleTerminate() {
    static std::terminate_handler replaced;
    replaced = std::set_terminate([] { replaced(); });
    bt_fini();
    bt_init(nullptr);
}

void* die(void* given) {
    outerFrame(static_cast<const Way*>(given)->function);
    return nullptr;
}

} // namespace

int main(int argc, char** argv) {
    const std::string where = argc > 2 ? argv[2] : "main";
    if (argc > 2 && std::strcmp(argv[1], "retrace") == 0) {
        return bt_retrace(argv[2]);
    }
    const Way* way = std::begin(kWays);
    while (way != std::end(kWays) && (argc < 2 || std::strcmp(way->name, argv[1]) != 0)) {
        ++way;
    }
    if (way == std::end(kWays)) {
        return 2;
    }
    if (where != "prefixed") {
        makeQuiet(); // for when the system handles the fault
    }
    for (const auto& [name, kind] : kOtherHandlers) {
        if (where == name) {
            installOtherHandler(kind);
        }
    }
    bt_init(where == "prefixed" ? (argc > 3 ? argv[3] : "named") : nullptr);
    if (where == "put_back" || where == "put_back_and_finished") {
        const Restore restore = replaceHandler();
        bt_fini();
        restore();
    }
    if (where == "put_back") {
        bt_init(nullptr);
    }
    if (where == "entangled") {
        entangleTerminate();
    }
    if (where == "without_descriptors") {
        useUpDescriptors();
    }
    if (where == "cancelled") {
        cancelThisThread();
    }
    if (where == "finished") {
        bt_fini();
    }
    if (where == "logging") {
        qz_log_start(".", "probe");
        for (int i = 0; i < 500; ++i) {
            qz_log("M", QZ_LOG_INFO, ("message " + std::to_string(i)).c_str());
        }
    }
    auto* given = const_cast<Way*>(way);
    if (where == "task") {
        QZ_add_task(given, [](void* task) { die(task); });
        QZ_semaphore_wait(QZ_semaphore_create(0));
    } else if (where == "adopted") {
        std::thread([given] { return QZ_thread_adopt() != 0 ? die(given) : nullptr; }).join();
    } else if (where == "forked") {
        crashInForkedChild(die, given);
    } else if (where == "foreign") {
        runInForeignThread(die, given);
    } else if (where == "thread") {
        QZ_thread_wait(QZ_thread_create(die, given, 0));
    } else {
        die(given);
    }
    return 0;
}

// Dies in one of several ways; crash_test.py looks at the report. crash_probe <way>
// [main|thread|...], or crash_probe retrace <directory>, which exits with the number of reports.
#include "crash_probe.h"

#include "Core/CrashReport.h"
#include "Core/Log.h"
#include "Core/Threads.h"
#include "Tasks/TaskManager.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
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

const Functions kWays = {
    {"null", dieOfNull},
    {"division", dieOfDivision},
    {"float_division", dieOfFloatDivision},
    {"illegal", dieOfIllegalInstruction},
    {"breakpoint", dieOfBreakpoint},
    {"single_step", dieOfSingleStep},
    {"privilege", dieOfPrivilege},
    {"abort", dieOfAbort},
    {"terminate", dieOfTerminate},
    {"exception", dieOfException},
    {"number", [] { throw 42; }},
    {"nowhere", dieInNowhere},
    {"overflow", [] { static_cast<void>(dieOfOverflow(0)); }},
    {"large_frames", [] { static_cast<void>(dieOfLargeFrames(0)); }},
    {"system", dieInSystemWay},
};

const std::map<std::string, OtherHandler> kOtherHandlers = {
    {"chained", OtherHandler::exits},
    {"chained_returning", OtherHandler::returns},
    {"chained_once", OtherHandler::returnsOnce},
    {"forked", OtherHandler::stays},
};

Function way = nullptr;

// Installs a handler for uncaught exceptions above the library's, and the library's above it again.
void entangleTerminate() {
    static std::terminate_handler replaced;
    replaced = std::set_terminate([] { replaced(); });
    bt_fini();
    bt_init(nullptr);
}

void putBackAndFinish() {
    const Function restore = replaceHandler();
    bt_fini();
    restore();
}

void putBack() {
    putBackAndFinish();
    bt_init(nullptr);
}

void logMessages() {
    qz_log_start(".", "probe");
    for (int i = 0; i < 500; ++i) {
        qz_log("M", QZ_LOG_INFO, ("message " + std::to_string(i)).c_str());
    }
}

const Functions kPreparations = {
    {"entangled", entangleTerminate},
    {"finished", bt_fini},
    {"logging", logMessages},
    {"put_back", putBack},
    {"put_back_and_finished", putBackAndFinish},
};

void* dieInThread(void*) {
    die();
    return nullptr;
}

const Functions kPlaces = {
    {"adopted", [] { std::thread([] { QZ_thread_adopt() != 0 ? die() : void(); }).join(); }},
    {"foreign", dieInForeignThread},
    {"task",
     [] {
         QZ_add_task(nullptr, [](void*) { die(); });
         QZ_semaphore_wait(QZ_semaphore_create(0));
     }},
    {"thread", [] { QZ_thread_wait(QZ_thread_create(dieInThread, nullptr, 0)); }},
};

// The function that has this name in one of two tables; null if none has it.
Function find(const std::string& name, const Functions& one, const Functions& other = {}) {
    const Functions& table = one.contains(name) ? one : other;
    return table.contains(name) ? table.at(name) : nullptr;
}

} // namespace

void die() {
    outerFrame(way);
}

int main(int argc, char** argv) {
    const std::string name = argc > 1 ? argv[1] : "", where = argc > 2 ? argv[2] : "main";
    if (name == "retrace") {
        return bt_retrace(where.c_str());
    }
    way = find(name, kWays, kSystemWays);
    if (way == nullptr) {
        return 2;
    }
    if (where != "prefixed") {
        makeQuiet(); // for when the system handles the fault
    }
    if (kOtherHandlers.contains(where)) {
        installOtherHandler(kOtherHandlers.at(where));
    }
    bt_init(where == "prefixed" ? (argc > 3 ? argv[3] : "named") : nullptr);
    if (const Function prepare = find(where, kPreparations, kSystemPreparations)) {
        prepare();
    }
    if (const Function dieElsewhere = find(where, kPlaces)) {
        dieElsewhere();
    } else {
        die();
    }
    return 0;
}

#include "platform/crash.h"

#include "platform/fault_stack.h"
#include "platform/report_turn.h"
#include "platform/thread.h"
#include "platform/win32/file_time.h"
#include "platform/win32/handle.h"
#include "platform/win32/symbols.h"
#include "platform/win32/wide.h"

#include <windows.h>

// After windows.h, which it needs.
#include <dbghelp.h>

#include <atomic>
#include <csignal>
#include <iterator>

namespace platform {

namespace {

struct Registers {
    const CONTEXT* context;
    DWORD thread;
};

using AbortFunction = void (*)(int);

constinit std::atomic<FaultFunction> faultFunction{nullptr};
constinit LPTOP_LEVEL_EXCEPTION_FILTER previousFilter = nullptr;
constinit AbortFunction previousAbort = SIG_DFL;
constinit ReportTurn turn;

// A function of ntdll, which no header declares under its own name.
using ThreadQuery = LONG(NTAPI*)(HANDLE, ULONG, void*, ULONG, ULONG*);
constexpr ULONG kAmILastThread = 12;

bool isLastThread() {
    const auto query = reinterpret_cast<ThreadQuery>(reinterpret_cast<void*>(
        GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationThread")));
    ULONG answer = 0;
    return query != nullptr &&
           query(GetCurrentThread(), kAmILastThread, &answer, sizeof answer, nullptr) >= 0 &&
           answer != 0;
}

// A thread that reports on behalf of a thread without a stack.
class Helper {
public:
    void start() {
        if (thread_ != 0 || !makeHandles()) {
            return;
        }
        Thread thread;
        if (startThread(thread, run, this)) {
            thread_ = thread.native;
        }
    }

    bool isRunning() const { return thread_ != 0; }
    bool isMe() const { return id_.load() == currentThread(); }

    void report(const Fault& fault) {
        constexpr DWORD kLongestWait = 25'000;
        fault_ = fault;
        SetEvent(request_);
        WaitForSingleObject(done_, kLongestWait);
    }

private:
    // A second call makes only what an earlier one has not made.
    bool makeHandles() {
        const HANDLE process = GetCurrentProcess();
        const auto makeEvent = [](HANDLE& event) {
            event = event != nullptr ? event : CreateEventW(nullptr, FALSE, FALSE, nullptr);
            return event != nullptr;
        };
        return makeEvent(request_) && makeEvent(done_) &&
               (starter_ != nullptr || DuplicateHandle(process, GetCurrentThread(), process,
                                                       &starter_, SYNCHRONIZE, FALSE, 0) != FALSE);
    }

    static void run(void* given) {
        auto& self = *static_cast<Helper*>(given);
        self.id_.store(currentThread());
        while (self.waitForRequest()) {
            if (const FaultFunction function = faultFunction.load()) {
                function(self.fault_);
            }
            SetEvent(self.done_);
        }
        // The system would end the process with this code if this thread did not exist.
        ExitProcess(kEndedByOverflow);
    }

    // False when all other threads are gone: the system may end only the thread whose stack
    // overflowed. The starter, as a rule the main thread, ends last or with the process. After its
    // end this looks now and then whether others are left.
    bool waitForRequest() const {
        constexpr DWORD kPoll = 1000;
        const HANDLE handles[] = {request_, starter_};
        DWORD woken = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        while (woken != WAIT_OBJECT_0) {
            if (isLastThread()) {
                return false;
            }
            woken = WaitForSingleObject(request_, kPoll);
        }
        return true;
    }

    static constexpr UINT kEndedByOverflow = fault_code::kStackOverflow;

    HANDLE request_ = nullptr;
    HANDLE done_ = nullptr;
    HANDLE starter_ = nullptr;
    std::uintptr_t thread_ = 0;
    std::atomic<std::uintptr_t> id_{0};
    Fault fault_;
};

constinit Helper helper;

void report(const Fault& fault) {
    const FaultFunction function = faultFunction.load();
    if (function == nullptr || turn.isMine() || helper.isMe() || !turn.take()) {
        return;
    }
    if (fault.code == fault_code::kStackOverflow && helper.isRunning()) {
        helper.report(fault);
    } else {
        function(fault);
    }
    turn.giveBack();
}

LONG WINAPI onException(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    Registers registers{exception->ContextRecord, GetCurrentThreadId()};
    const auto address = reinterpret_cast<std::uintptr_t>(record.ExceptionAddress);
    const bool isFetch = record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION &&
                         record.NumberParameters >= 2 && record.ExceptionInformation[1] == address;
    report({static_cast<std::uint32_t>(record.ExceptionCode), address, &registers, isFetch});
    return previousFilter != nullptr ? previousFilter(exception) : EXCEPTION_CONTINUE_SEARCH;
}

HMODULE moduleOf(DWORD64 address) {
    void* module = nullptr;
    RtlPcToFileHeader(reinterpret_cast<void*>(address), &module);
    return static_cast<HMODULE>(module);
}

// Unwinds to the caller of the first function in this library.
void leaveLibrary(CONTEXT& context) {
    const HMODULE library = moduleOf(context.Rip);
    while (context.Rip != 0 && moduleOf(context.Rip) == library) {
        DWORD64 base = 0;
        PRUNTIME_FUNCTION entry = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
        if (entry == nullptr) {
            return;
        }
        void* data = nullptr;
        DWORD64 frame = 0;
        RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, entry, &context, &data, &frame,
                         nullptr);
    }
}

// abort() does not reach the exception filter.
void onAbort(int signal) {
    CONTEXT context;
    RtlCaptureContext(&context);
    leaveLibrary(context);
    Registers registers{&context, GetCurrentThreadId()};
    report({fault_code::kAbort, static_cast<std::uintptr_t>(context.Rip), &registers, false});
    if (previousAbort != SIG_DFL && previousAbort != SIG_IGN) {
        previousAbort(signal);
    }
}

template<class Value>
bool read(HANDLE process, DWORD64 address, Value& value) {
    SIZE_T count = 0;
    return ReadProcessMemory(process, reinterpret_cast<const void*>(address), &value, sizeof value,
                             &count) != 0;
}

// Nothing is known about the place that was jumped to, but a call has left its return address.
bool leaveNowhere(CONTEXT& context, HANDLE process) {
    DWORD64 caller = 0;
    if (!read(process, context.Rsp, caller)) {
        return false;
    }
    context.Rip = caller;
    context.Rsp += sizeof caller;
    return true;
}

// The compiler's helper that touches the pages of a large frame is the usual place of a stack
// overflow. It saves two registers without unwind information. It is recognised by the call in
// front of its return address.
bool leaveStackProbe(CONTEXT& context, HANDLE process) {
    constexpr DWORD64 kSaved = 2 * sizeof(DWORD64);
    constexpr DWORD64 kLongest = 64;
#pragma pack(push, 1)
    struct Call {
        std::uint8_t code;
        std::int32_t distance;
    };
#pragma pack(pop)
    constexpr std::uint8_t kNearCall = 0xE8;
    DWORD64 caller = 0;
    Call call{};
    if (!read(process, context.Rsp + kSaved, caller) ||
        !read(process, caller - sizeof call, call) || call.code != kNearCall ||
        context.Rip - (caller + static_cast<DWORD64>(std::int64_t{call.distance})) > kLongest) {
        return false;
    }
    context.Rip = caller;
    context.Rsp += kSaved + sizeof caller;
    return true;
}

STACKFRAME64 firstFrame(const CONTEXT& context) {
    STACKFRAME64 frame = {};
    frame.AddrPC = {context.Rip, 0, AddrModeFlat};
    frame.AddrFrame = {context.Rbp, 0, AddrModeFlat};
    frame.AddrStack = {context.Rsp, 0, AddrModeFlat};
    return frame;
}

void walk(HANDLE process, HANDLE thread, CONTEXT& context, bool isReturnAddress,
          FrameFunction function, void* callbackContext) {
    STACKFRAME64 frame = firstFrame(context);
    while (StackWalk64(IMAGE_FILE_MACHINE_AMD64, process, thread, &frame, &context, nullptr,
                       SymFunctionTableAccess64, SymGetModuleBase64, nullptr) &&
           frame.AddrStack.Offset != 0 &&
           function(callbackContext,
                    {static_cast<std::uintptr_t>(frame.AddrPC.Offset),
                     static_cast<std::uintptr_t>(frame.AddrStack.Offset), isReturnAddress})) {
        isReturnAddress = true;
    }
}

} // namespace

// A filter that was installed later and chained to onException may have put onException back. It
// must not become its own successor. The same holds for the handler of abort().
AnyFunction installFaultFunction(FaultFunction function) {
    faultFunction.store(function);
    helper.start();
    keepStackForFaults();
    const LPTOP_LEVEL_EXCEPTION_FILTER filter = SetUnhandledExceptionFilter(onException);
    if (filter != onException) {
        previousFilter = filter;
    }
    const AbortFunction abort = std::signal(SIGABRT, onAbort);
    if (abort != onAbort) {
        previousAbort = abort;
    }
    return reinterpret_cast<AnyFunction>(previousFilter);
}

void removeFaultFunction() {
    faultFunction.store(nullptr); // somebody may have chained to the filter, and go on calling it
    SetUnhandledExceptionFilter(previousFilter);
    std::signal(SIGABRT, previousAbort);
}

void walkStack(const Fault& fault, FrameFunction function, void* context) {
    const auto& registers = *static_cast<const Registers*>(fault.registers);
    const HANDLE process = startSymbols();
    if (process == nullptr) {
        return;
    }
    const Handle thread(
        OpenThread(THREAD_GET_CONTEXT | THREAD_SUSPEND_RESUME | THREAD_QUERY_INFORMATION, FALSE,
                   registers.thread));
    CONTEXT copy = *registers.context; // the walk changes it
    const auto stack = static_cast<std::uintptr_t>(copy.Rsp);
    const bool isFirstLeft = fault.isJumpToNowhere ? leaveNowhere(copy, process)
                                                   : fault.code == fault_code::kStackOverflow &&
                                                         leaveStackProbe(copy, process);
    bool goesOn = true;
    if (fault.isJumpToNowhere || isFirstLeft) {
        goesOn = function(context, {fault.address, stack, false}) && isFirstLeft;
    }
    if (goesOn) {
        const bool isReturnAddress = isFirstLeft || fault.code == fault_code::kAbort;
        walk(process, thread.get(), copy, isReturnAddress, function, context);
    }
    endSymbols();
}

bool faultText(std::uint32_t code, char* buffer, std::size_t size) {
    static wchar_t text[512];
    const HMODULE core = GetModuleHandleW(L"ntdll.dll");
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_IGNORE_INSERTS, core,
                                  code, 0, text, static_cast<DWORD>(std::size(text)), nullptr);
    while (length > 0 && text[length - 1] <= L' ') {
        text[--length] = 0; // messages end with a line break
    }
    return length > 0 && fromWide(text, buffer, size);
}

std::int64_t systemTime() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return secondsOf(now);
}

} // namespace platform

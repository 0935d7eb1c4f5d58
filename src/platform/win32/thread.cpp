#include "platform/thread.h"

#include "platform/fault_stack.h"
#include "platform/win32/wide.h"

#include <windows.h>

#include <process.h>

#include <atomic>
#include <cerrno>
#include <iterator>
#include <memory>
#include <new>

namespace platform {

namespace {

struct Start {
    ThreadEntry entry;
    void* argument;
};

unsigned __stdcall runThread(void* given) {
    const Start start = *std::unique_ptr<Start>(static_cast<Start*>(given));
    keepStackForFaults();
    start.entry(start.argument);
    return 0;
}

template<class Native>
Native* as(unsigned char* storage) {
    return std::launder(reinterpret_cast<Native*>(storage));
}

// Finds a function by name, because some systems do not have it or have it in another DLL.
template<class Function>
Function find(const wchar_t* library, const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(library), name)));
}

// The first systems that have these functions do not have them in kernel32.dll.
template<class Function>
Function findInKernel(const char* name) {
    return find<Function>(L"kernelbase.dll", name);
}

} // namespace

bool startThread(Thread& thread, ThreadEntry entry, void* argument) {
    std::unique_ptr<Start> start(new (std::nothrow) Start{entry, argument});
    if (!start) {
        errno = ENOMEM;
        return false;
    }
    // _beginthreadex and not CreateThread: it prepares the C library for the thread and reports
    // failure through errno.
    thread.native = _beginthreadex(nullptr, 0, runThread, start.get(), 0, nullptr);
    if (thread.native == 0) {
        return false;
    }
    static_cast<void>(start.release());
    return true;
}

void joinThread(Thread thread) {
    const HANDLE handle = reinterpret_cast<HANDLE>(thread.native);
    WaitForSingleObject(handle, INFINITE);
    CloseHandle(handle);
}

void detachThread(Thread thread) {
    CloseHandle(reinterpret_cast<HANDLE>(thread.native));
}

void joinEndingThread(Thread thread) {
    constexpr DWORD kLongestWait = 100;
    const auto handle = reinterpret_cast<HANDLE>(thread.native);
    WaitForSingleObject(handle, kLongestWait);
    CloseHandle(handle);
}

std::uintptr_t currentThread() {
    return GetCurrentThreadId();
}

void nameThread(const char* name) {
    using SetDescription = HRESULT(WINAPI*)(HANDLE, PCWSTR);
    const auto setDescription = findInKernel<SetDescription>("SetThreadDescription");
    wchar_t wide[sizeof(ThreadName::text)];
    if (setDescription != nullptr && toWide(name, wide, std::size(wide))) {
        setDescription(GetCurrentThread(), wide);
    }
}

ThreadName threadName() {
    using GetDescription = HRESULT(WINAPI*)(HANDLE, PWSTR*);
    const auto getDescription = findInKernel<GetDescription>("GetThreadDescription");
    ThreadName name;
    PWSTR wide = nullptr;
    if (getDescription != nullptr && SUCCEEDED(getDescription(GetCurrentThread(), &wide))) {
        fromWide(wide, name.text, sizeof name.text);
        LocalFree(wide);
    }
    return name;
}

void forgetThreadValues() {}

void yieldThread() {
    SwitchToThread();
}

void sleepFor(std::chrono::microseconds time) {
    Sleep(static_cast<DWORD>(std::chrono::ceil<std::chrono::milliseconds>(time).count()));
}

void blockSignals() {}

int forbidCancellation() {
    return 0;
}

void resumeCancellation(int) {}

int processId() {
    return static_cast<int>(GetCurrentProcessId());
}

bool callInChildren(void (*)()) {
    return true;
}

bool otherThreadsAreGone() {
    using IsEnding = BOOLEAN(NTAPI*)();
    // No initialiser: if a thread were killed in one, the thread that is left would wait for it.
    static constinit std::atomic<IsEnding> found{nullptr};
    IsEnding isEnding = found.load(std::memory_order_relaxed);
    if (isEnding == nullptr) {
        isEnding = find<IsEnding>(L"ntdll.dll", "RtlDllShutdownInProgress");
        found.store(isEnding, std::memory_order_relaxed);
    }
    return isEnding != nullptr && isEnding() != FALSE;
}

bool Semaphore::create(std::int32_t initialCount) {
    HANDLE* handle = new (storage_) HANDLE;
    *handle = CreateSemaphoreW(nullptr, initialCount, kMaximum, nullptr);
    return *handle != nullptr;
}

void Semaphore::destroy() {
    CloseHandle(*as<HANDLE>(storage_));
    *as<HANDLE>(storage_) = nullptr;
}

bool Semaphore::signal() {
    return ReleaseSemaphore(*as<HANDLE>(storage_), 1, nullptr) != 0;
}

int Semaphore::wait() {
    return static_cast<int>(WaitForSingleObject(*as<HANDLE>(storage_), INFINITE));
}

bool Semaphore::tryWait() {
    return WaitForSingleObject(*as<HANDLE>(storage_), 0) == WAIT_OBJECT_0;
}

bool Semaphore::waitFor(std::chrono::microseconds limit) {
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(limit).count();
    return WaitForSingleObject(*as<HANDLE>(storage_), static_cast<DWORD>(milliseconds)) ==
           WAIT_OBJECT_0;
}

void RecursiveMutex::create() {
    static_assert(sizeof(CRITICAL_SECTION) <= sizeof(storage_) && alignof(CRITICAL_SECTION) <= 8);
    InitializeCriticalSection(new (storage_) CRITICAL_SECTION);
}

void RecursiveMutex::destroy() {
    DeleteCriticalSection(as<CRITICAL_SECTION>(storage_));
}

void RecursiveMutex::lock() {
    EnterCriticalSection(as<CRITICAL_SECTION>(storage_));
}

bool RecursiveMutex::tryLock() {
    return TryEnterCriticalSection(as<CRITICAL_SECTION>(storage_)) != 0;
}

void RecursiveMutex::unlock() {
    LeaveCriticalSection(as<CRITICAL_SECTION>(storage_));
}

} // namespace platform

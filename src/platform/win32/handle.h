// The owner of a system's handle.
#pragma once

#include <windows.h>

#include <utility>

namespace platform {

// Some of the system's functions return null for no handle, others INVALID_HANDLE_VALUE; both are
// none here. Leaves the thread's last error as it is if there is no handle to close.
class Handle {
public:
    Handle() = default;
    explicit Handle(HANDLE handle) : handle_(handle == INVALID_HANDLE_VALUE ? nullptr : handle) {}
    Handle(Handle&& other) noexcept : handle_(other.release()) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Handle() {
        if (handle_ != nullptr) {
            CloseHandle(handle_);
        }
    }

    explicit operator bool() const { return handle_ != nullptr; }
    HANDLE get() const { return handle_; }
    HANDLE release() { return std::exchange(handle_, nullptr); }

private:
    HANDLE handle_ = nullptr;
};

} // namespace platform

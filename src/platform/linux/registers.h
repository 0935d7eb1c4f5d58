// The registers of an interrupted thread, and memory that they may point to.
#pragma once

#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace platform {

inline std::uintptr_t registerOf(const void* registers, int number) {
    const auto& context = *static_cast<const ucontext_t*>(registers);
    return static_cast<std::uintptr_t>(context.uc_mcontext.gregs[number]);
}

// Makes a request that does not exist: the kernel checks the address before it refuses the request.
inline bool isReadableMemory(std::uintptr_t address) {
    constexpr int kNoSuchRequest = -1;
    constexpr std::size_t kMaskSize = 8;
    return syscall(SYS_rt_sigprocmask, kNoSuchRequest, address & ~(kMaskSize - 1), nullptr,
                   kMaskSize) == 0 ||
           errno != EFAULT;
}

} // namespace platform

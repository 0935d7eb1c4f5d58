// Names of C++ functions as people write them.
#pragma once

#include <string>

#if __has_include(<cxxabi.h>)
#    include <cxxabi.h>

#    include <cstdlib>
#    include <memory>
#    include <new>
#endif

namespace platform {

// The readable form of a symbol that GCC has mangled; empty for any other. Microsoft's symbols are
// readable as the system gives them. Throws std::bad_alloc.
inline std::string demangled([[maybe_unused]] const char* symbol) {
#if __has_include(<cxxabi.h>)
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    constexpr int kOutOfMemory = -1;
    if (status == kOutOfMemory) {
        throw std::bad_alloc();
    }
    if (status == 0 && text != nullptr) {
        return text.get();
    }
#endif
    return {};
}

} // namespace platform

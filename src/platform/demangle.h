// Names of C++ functions as people write them.
#pragma once

#include <string>

#if __has_include(<cxxabi.h>)
#    include <cxxabi.h>

#    include <cstdlib>
#    include <memory>
#    include <new>
#    include <typeinfo>
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

// The type of the exception that the calling thread has caught last. Throws std::bad_alloc.
inline std::string caughtType() {
#if __has_include(<cxxabi.h>)
    if (const std::type_info* const type = abi::__cxa_current_exception_type(); type != nullptr) {
        return demangled(type->name());
    }
#endif
    return "unknown";
}

} // namespace platform

// Names of C++ functions as people write them.
#pragma once

#include <string>

#if __has_include(<cxxabi.h>)
#    include <cxxabi.h>

#    include <cstdlib>
#    include <memory>
#endif

namespace platform {

// Empty if the symbol is none of GCC's kind. Microsoft's symbols come readable from the system.
inline std::string demangled([[maybe_unused]] const char* symbol) {
#if __has_include(<cxxabi.h>)
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> text(
        abi::__cxa_demangle(symbol, nullptr, nullptr, &status), &std::free);
    if (status == 0 && text != nullptr) {
        return text.get();
    }
#endif
    return {};
}

} // namespace platform

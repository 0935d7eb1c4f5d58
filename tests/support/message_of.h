// The messages of the library's exceptions.
#pragma once

#include <stdexcept>
#include <string>

namespace qz::test {

// The message of the exception that a call throws; empty if it throws none.
template<class Call>
std::string messageOf(const Call& call) {
    try {
        call();
    } catch (const std::runtime_error& exception) {
        return exception.what();
    }
    return "";
}

} // namespace qz::test

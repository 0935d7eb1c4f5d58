// With QZ_FAIL_ON_PURPOSE in the environment the program ends with an error before it has begun.
#include <cstdlib>

namespace {

bool fails() {
    if (std::getenv("QZ_FAIL_ON_PURPOSE") != nullptr) {
        std::_Exit(9);
    }
    return false;
}

[[maybe_unused]] const bool failed = fails();

} // namespace

// Checks an expectation of a fuzz target; a failed check is a finding.
#pragma once

#include <cstdlib>

inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

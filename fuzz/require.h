// What a fuzz target expects: a breach of it is a finding.
#pragma once

#include <cstdlib>

inline void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

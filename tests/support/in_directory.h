// A test that works in an empty directory of its own.
#pragma once

#include "support/test.h"

namespace qz::test {

struct InDirectory : ::testing::Test {
    InDirectory() { fs::current_path(freshDirectory()); }
};

} // namespace qz::test

// What most tests use: GoogleTest, the log as hosts see it, files and threads, and the standard
// library's everyday parts.
#pragma once

#include "support/log_capture.h"
#include "support/non_copyable.h"
#include "support/threads.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace qz::test {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace std::string_literals;
using Lines = std::vector<std::string>;

// Expects results of a call: each case is "text => result".
template<class Call, class... Cases>
void expectEach(const Call& call, const Cases&... cases) {
    for (const std::string& one : std::initializer_list<std::string>{cases...}) {
        const std::size_t arrow = one.find(" => ");
        EXPECT_EQ(call(one.substr(0, arrow)), one.substr(arrow + 4)) << one;
    }
}

} // namespace qz::test

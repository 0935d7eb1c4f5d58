// With QZ_FAIL_ON_PURPOSE in the environment no test of the program runs, and the program fails.
#include <gtest/gtest.h>

#include <cstdlib>

namespace {

class Failure : public testing::Environment {
    void SetUp() override {
        if (std::getenv("QZ_FAIL_ON_PURPOSE") == nullptr) {
            return;
        }
        // The printer would report the tests as skipped, and CTest prefers that to the program's
        // result.
        auto& listeners = testing::UnitTest::GetInstance()->listeners();
        delete listeners.Release(listeners.default_result_printer());
        FAIL() << "on purpose";
    }
};

const testing::Environment* const failure = testing::AddGlobalTestEnvironment(new Failure);

} // namespace

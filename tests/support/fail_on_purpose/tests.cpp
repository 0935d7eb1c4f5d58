// With QZ_FAIL_ON_PURPOSE in the environment no test of the program runs, and the program fails.
#include <gtest/gtest.h>

#include <cstdlib>

namespace {

class Failure : public testing::Environment {
    void SetUp() override {
        if (std::getenv("QZ_FAIL_ON_PURPOSE") == nullptr) {
            return;
        }
        // The printer would call the tests skipped, and CTest reads that before the program's
        // result.
        auto& listeners = testing::UnitTest::GetInstance()->listeners();
        delete listeners.Release(listeners.default_result_printer());
        FAIL() << "on purpose";
    }
};

const testing::Environment* const failure = testing::AddGlobalTestEnvironment(new Failure);

} // namespace

#include "Util/System.h"

#include <gtest/gtest.h>

namespace {

TEST(System, IsInitialisedOnce) {
    System system;
    EXPECT_FALSE(system.initialized());
    EXPECT_FALSE(system.process());
    EXPECT_FALSE(system.uninitialize());
    EXPECT_FALSE(system.reinitialize());
    EXPECT_FALSE(system.initialized());
    EXPECT_TRUE(system.initialize());
    EXPECT_FALSE(system.initialize());
    EXPECT_TRUE(system.reinitialize());
    EXPECT_TRUE(System(system).process());
    EXPECT_TRUE(system.uninitialize());
    EXPECT_FALSE(system.initialized());
}

class Stubborn : public System {
public:
    bool initialize() override {
        calls += 'i';
        return System::initialize() && calls.size() < 2;
    }
    bool uninitialize() override {
        calls += 'u';
        System::uninitialize();
        return false;
    }
    bool initialized() const override { return true; }

    std::string calls;
};

TEST(System, GoesThroughItsOverrides) {
    Stubborn system;
    EXPECT_TRUE(system.process());
    EXPECT_FALSE(system.reinitialize()); // the flag counts
    EXPECT_TRUE(system.initialize());
    EXPECT_FALSE(system.reinitialize());
    EXPECT_EQ(system.calls, "iui");
}

} // namespace

#define QZ_SYSTEM_NO_SHORT_NAME
#include "Util/System.h"
#include "support/test.h"

namespace System { // the name is the program's own

using Base = qz::System;

TEST(System, IsInitialisedOnce) {
    Base system;
    EXPECT_FALSE(system.initialized());
    EXPECT_FALSE(system.process());
    EXPECT_FALSE(system.uninitialize());
    EXPECT_FALSE(system.reinitialize());
    EXPECT_FALSE(system.initialized());
    EXPECT_TRUE(system.initialize());
    EXPECT_FALSE(system.initialize());
    EXPECT_TRUE(system.reinitialize());
    EXPECT_TRUE(Base(system).process());
    EXPECT_TRUE(system.uninitialize());
    EXPECT_FALSE(system.initialized());
}

class Stubborn : public Base {
public:
    bool initialize() override {
        calls += 'i';
        return Base::initialize() && calls.size() < 2;
    }
    bool uninitialize() override {
        calls += 'u';
        Base::uninitialize();
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

} // namespace System

// The rights of an ordinary user, to whom the system refuses things. Linux only.
#pragma once

#include "support/non_copyable.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace qz::test {

constexpr uid_t kNobody = 65534;

// While it lives, a superuser is the user "nobody"; other users stay who they are.
class OrdinaryUser : NonCopyable {
public:
    OrdinaryUser() : wasRoot_(geteuid() == 0) {
        if (wasRoot_) {
            EXPECT_EQ(setegid(kNobody), 0);
            EXPECT_EQ(seteuid(kNobody), 0);
        }
    }
    ~OrdinaryUser() {
        if (wasRoot_) {
            EXPECT_EQ(seteuid(0), 0);
            EXPECT_EQ(setegid(0), 0);
        }
    }

private:
    bool wasRoot_;
};

} // namespace qz::test

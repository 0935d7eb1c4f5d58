// A program's variables with the names of the library's, in a file without Globals.h.
#include <gtest/gtest.h>

int registry[2] = {7, 8};
int globalMail = 9;

TEST(Globals, LeavesVariablesOfTheProgramAlone) {
    EXPECT_EQ(registry[0], 7);
    EXPECT_EQ(registry[1], 8);
    EXPECT_EQ(globalMail, 9);
}

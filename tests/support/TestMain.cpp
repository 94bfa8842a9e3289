// The test programs' entry point. It is compiled into each program, so that it, and not the library's
// own main, starts them.

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}

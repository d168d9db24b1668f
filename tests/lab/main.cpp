// The lab's tests: the real agent, the router library for Linux and real traffic. Each has a sandbox, and a lab in it.
#include <cstdio>
#include <gtest/gtest.h>

#include "tests/e2e/Sandbox.h"

int main(int argc, char *argv[])
{
    testing::InitGoogleTest(&argc, argv);
    std::string reason;
    // Listing needs no sandbox: it happens wherever the tests are built.
    if (!testing::GTEST_FLAG(list_tests) && !EnterSandbox(PLUG_BUILD_FOLDER, &reason)) {
        fprintf(stderr, "no sandbox: %s\n", reason.c_str());
        return 1;
    }
    return RUN_ALL_TESTS();
}

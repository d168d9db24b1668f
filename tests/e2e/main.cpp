// The end-to-end tests: the real agent against the test platform. All of them run in a sandbox.
#include <cstdio>
#include <cstdlib>

#include "tests/e2e/EndToEnd.h"
#include "tests/e2e/Manager.h"
#include "tests/e2e/Sandbox.h"

void EndToEnd::SetUp()
{
    for (const char *path : {kStatusFile, kConfigFile, kAgentFolder, kSocket}) std::filesystem::remove_all(path);
}

int main(int argc, char *argv[])
{
    testing::InitGoogleTest(&argc, argv);
    // For an agent that is built with it: it ends at once, and as threads go on when it does, none of them is a leak.
    setenv("TSAN_OPTIONS", "atexit_sleep_ms=0 report_thread_leaks=0", 0);
    std::string reason;
    // Listing needs no sandbox: it happens wherever the tests are built.
    if (!testing::GTEST_FLAG(list_tests) && !EnterSandbox(PLUG_BUILD_FOLDER, &reason)) {
        fprintf(stderr, "no sandbox: %s\n", reason.c_str());
        return 1;
    }
    return RUN_ALL_TESTS();
}

// The end-to-end tests: the real agent against the test platform. All of them run in a sandbox.
#include <cstdio>

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
    std::string reason;
    // Listing needs no sandbox: it happens wherever the tests are built.
    if (!testing::GTEST_FLAG(list_tests) && !EnterSandbox(PLUG_BUILD_FOLDER, &reason)) {
        fprintf(stderr, "no sandbox: %s\n", reason.c_str());
        return 1;
    }
    return RUN_ALL_TESTS();
}

// PlatformMain.h - `plugsim platform` from its options to its exit status.
// State: none. Threads: main.
#pragma once

#include "simulator/PlatformOptions.h"

namespace sim
{

enum ExitStatus { EXIT_OK = 0, EXIT_CHECK_FAILED = 1, EXIT_USAGE = 2, EXIT_CANNOT_LISTEN = 3 };

int RunPlatform(const PlatformOptions &options);

} // namespace sim

// PlatformMain.h - `plugsim platform` from its options to its exit status.
// State: none. Threads: main.
#pragma once

#include "simulator/Console.h"
#include "simulator/PlatformOptions.h"

namespace sim
{

int RunPlatform(const PlatformOptions &options);

} // namespace sim

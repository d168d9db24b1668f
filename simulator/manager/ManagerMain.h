// ManagerMain.h - `plugsim manager` from its options to its exit status.
// State: none. Threads: main.
#pragma once

#include "simulator/manager/ManagerOptions.h"

namespace sim
{

int RunManager(const ManagerOptions &options);

} // namespace sim

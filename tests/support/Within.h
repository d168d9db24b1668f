// Within.h - waiting for what no event tells of: a condition, looked at again and again, and a limit in real time.
// State: none. Threads: any; `condition` runs on the caller's.
#pragma once

#include <functional>

// Runs `condition` until it holds, at most `seconds` real ones. Whether it held. Between two runs the processor is left
// to whom the condition waits for.
bool Within(double seconds, const std::function<bool()> &condition);

// The same with ten seconds: long, because test machines are busy, and reached only by failures.
bool Within(const std::function<bool()> &condition);

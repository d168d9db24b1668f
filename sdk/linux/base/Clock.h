// Clock.h - the two clocks of the library. The unit tests bring their own.
// Threads:  any.
#pragma once

#include <cstdint>

// Milliseconds of the monotonic clock: intervals and ages.
int64_t NowMs();

// Seconds since 1 January 1970: the times in lease files.
int64_t WallSeconds();

// OsMemory.h - the heap, as far as running out of it has to be answered.
// State: none. Threads: any.
#pragma once

#include <cstddef>

// `size` zeroed bytes, or nullptr. Freed with OsFree().
[[nodiscard]] void *OsAllocate(size_t size);

// Frees what OsAllocate() gave; nullptr is allowed.
void OsFree(void *memory);

// OsMemory.h - heap blocks, for the places where running out of memory has to be handled.
// State: none. Threads: any.
#pragma once

#include <cstddef>

// `size` zeroed bytes, or nullptr. Freed with OsFree().
[[nodiscard]] void *OsAllocate(size_t size);

// Frees what OsAllocate() gave; nullptr is allowed.
void OsFree(void *memory);

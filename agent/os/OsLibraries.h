// OsLibraries.h - the shared libraries that this process has loaded.
// State: none. Threads: any.
#pragma once

// Calls `each` for every library, with the path from which it was loaded.
void OsEachLibrary(void (*each)(const char *path));

// StateFile.h - the file that replaces parts of the household and receives its settings (environment ROUTER_SIM_STATE).
// State:    the path, and whether trouble with the file was reported.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include "sdk/sim/Household.h"

// Takes over what the file says, and keeps its path for SaveState(); null or an empty path for no file. A missing file
// is no error. A file that cannot be read or is not a JSON object is reported on stderr and changes nothing.
void LoadState(Household *home, const char *path);

// Writes the household into the file, through a second file beside it that then takes its name, so that readers see the
// old or the new one and never half of it. Members of the file that the household does not know stay. A file that is
// not a JSON object is left alone: it is somebody's work with a comma missing. An error is reported on stderr, once
// until saving has worked again; the setting then holds in memory only.
void SaveState(const Household *home);

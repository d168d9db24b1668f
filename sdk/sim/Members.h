// Members.h - the household's members as they stand in a state file; LoadMembers.cpp and SaveMembers.cpp.
// State:    how many bad members were reported, so that a file full of them does not flood stderr.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include "sdk/sim/Household.h"

struct cJSON;

// Replaces whatever part of the household the document names. A member that is of the wrong type, too long or out of
// range is reported on stderr and keeps its default. Members that are not known are passed over.
void LoadMembers(Household *home, const cJSON *document);

// Writes all that can be set or was compiled in into the document, over what stands there; whatever the document has
// besides stays. False when memory ran out.
bool SaveMembers(const Household *home, cJSON *document);

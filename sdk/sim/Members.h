// Members.h - the household's members as they stand in a state file; LoadMembers.cpp and SaveMembers.cpp.
// State:    how many bad members were reported, so that a file full of them does not flood stderr.
// Threads:  whoever holds the lock of Call.cpp.
#pragma once

#include "sdk/sim/Household.h"

struct cJSON;

// Replaces the parts of the household that the document names. A member of the wrong type, too long or out of range is
// reported on stderr and keeps its default. Unknown members are passed over.
void LoadMembers(Household *home, const cJSON *document);

// Writes the household into the document, over what stands there. What the document has besides stays. False when
// memory ran out; the document is then half written.
[[nodiscard]] bool SaveMembers(const Household *home, cJSON *document);

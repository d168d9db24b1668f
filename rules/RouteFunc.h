// RouteFunc.h - the rules that the platform sends as JSON texts.
// State: none yet. Threads: the response thread.
#pragma once

// Adds or deletes internet-access-time rules. Returns 0 or a positive code. No rule is kept yet: always 2, as for a
// text that is no JSON.
int ParseSurfRulesParam(const char *json);

// JsonParse.h - the one way from a received text to JSON.
// State: none. Threads: any.
#pragma once

struct cJSON;

constexpr int kJsonNestingMax = 32; // brackets within each other

// Parses `text`, which may be nullptr. Returns the document, for cJSON_Delete(); nullptr when there is no text, it is
// no JSON, or it nests deeper than kJsonNestingMax: the parser goes down one call a bracket, and so does everybody who
// walks or frees the document, which the small stacks of our threads (os/OsProcess.h) do not bear.
// whole: nothing but blanks may stand behind the document.
cJSON *JsonParse(const char *text, bool whole = false);

// JsonParse.h - the one way from a received text to JSON.
// State: none. Threads: any.
#pragma once

struct cJSON;

constexpr int kMaxJsonNesting = 32; // brackets within each other

// Parses `text`, which may be nullptr. Returns the document, for cJSON_Delete(); nullptr when there is no text, when it
// is no JSON, or when it nests deeper than kMaxJsonNesting: parsing, walking and freeing a document each take one
// nested call for a bracket, and the stacks of our threads are small (os/OsProcess.h).
// whole: only blanks may follow the document.
[[nodiscard]] cJSON *JsonParse(const char *text, bool whole = false);

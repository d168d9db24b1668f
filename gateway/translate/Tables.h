// Tables.h - the tables of functions and commands as JSON: for the form on the page and for the documents.
// State: none. Threads: any.
#pragma once

#include "gateway/translate/Json.h"

namespace gateway
{

// [{"name":"ping","summary":TEXT,"number":8,"answered":true,"parameters":[{"name":"host","type":"ip","about":TEXT,
// "required":true,...}]},...], and the functions with typed parameters in place of a text. Types: number, text, ip,
// mac, hex, json; what bounds a value is "low" and "high", "size" (bytes), "values" (its names).
Json FunctionsJson();

// The same of plugin commands, with "command" in place of "number".
Json CommandsJson();

} // namespace gateway

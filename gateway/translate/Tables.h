// Tables.h - the tables of functions, commands and reports as JSON: for the form on the page and for the documents.
// State: none. Threads: any.
#pragma once

#include "gateway/translate/Json.h"

namespace gateway
{

// [{"number":8,"name":"ping","summary":TEXT,"parameters":[{"name":"host","type":"text","size":64,"about":TEXT,
// "required":true,...}],"answered":true},...]
Json FunctionsJson();

// The same for plugin commands, with "command" for "number".
Json CommandsJson();

// [{"name":"device-list","msgtype":19,"datatype":63,"summary":TEXT},...]
Json ReportsJson();

} // namespace gateway

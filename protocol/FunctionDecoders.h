// FunctionDecoders.h - decodes requests and replies of functions by the table of layouts.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "protocol/Bytes.h"
#include "protocol/FunctionLayouts.h"
#include "protocol/Tree.h"

namespace protocol
{

// A whole record. Empty, with the reason in `*problem`, if `data` is shorter or longer than the layout, or bytes that
// must be zero are not.
Fields DecodeRecord(const Layout &layout, const Bytes &data, std::string *problem);

// The data behind the status in a reply of function `id`; empty for an unknown function and an invalid reply. Errors
// are added to `problems`: a wrong length, unless the reply is a status other than 0 alone; a status other than 0 where
// the function always answers 0; any reply of a function that has none.
Fields DecodeReply(unsigned id, int status, const Bytes &data, std::vector<std::string> *problems);

// The parameters of a request; empty if bytes are missing or left over.
Fields DecodeRequest(unsigned id, const Bytes &parameters);

} // namespace protocol

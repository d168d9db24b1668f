// FunctionDecoders.h - requests and replies of functions, field by field, as the table of layouts has them.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "protocol/Bytes.h"
#include "protocol/FunctionLayouts.h"
#include "protocol/Tree.h"

namespace protocol
{

// A whole record. Empty with the reason in `*problem` when `data` is shorter or longer than the layout, or bytes that
// must be zero are not.
Fields DecodeRecord(const Layout &layout, const Bytes &data, std::string *problem);

// What follows the status in a reply of function `id`; empty for a function that is not known and for a faulty reply.
// Faults are added to `problems`: another length than the function's, unless a status other than 0 comes alone; a
// status other than 0 where the function always answers 0; any reply of a function that has none.
Fields DecodeReply(unsigned id, int status, const Bytes &data, std::vector<std::string> *problems);

// The parameters of a request, as far as they are all there and no more.
Fields DecodeRequest(unsigned id, const Bytes &parameters);

} // namespace protocol

// FunctionHandler.h - the interface of the handlers in the function table.
//
//   parameters  the request from byte 10 on; parameters that were not sent read as zeros
//   reply       the reply after its first 6 bytes; the handler writes its data there and nothing else
//   result      goes into the status, encoded as the row says
//
// A handler that fails may leave its data out; the reply then ends after the status.
// Threads: the response thread, one function at a time.
#pragma once

#include "core/Wire.h"

typedef int (*FunctionHandler)(WireReader *parameters, WireWriter *reply);

// For several router calls that are all made: the first result that is not 0, else 0.
[[nodiscard]] inline int FirstFailure(int earlier, int result)
{
    return earlier != 0 ? earlier : result;
}

// Clears `*record` if the call that filled it failed (`result` is not 0): the library may have written to it all the
// same. Returns `result`.
template <typename Record>
int ZeroUnless(int result, Record *record)
{
    if (result != 0) *record = Record();
    return result;
}

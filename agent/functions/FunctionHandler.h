// FunctionHandler.h - what a row of the function table does: the interface of every handler.
//
//   parameters  the request from its tenth byte on; what was not sent reads as zeros
//   reply       the reply behind its first 6 bytes; the handler puts its data there and nothing else
//   result      what goes into the status, in the way that the row says
//
// A handler that fails may leave its data out, and the reply then ends behind the status.
// Threads: the response thread, one function at a time.
#pragma once

#include "core/Wire.h"

typedef int (*FunctionHandler)(WireReader *parameters, WireWriter *reply);

// The first failure of several router calls that are all made.
inline int FirstFailure(int earlier, int result)
{
    return earlier != 0 ? earlier : result;
}

// What a failed router call left behind is never passed on, even when the library touched it.
template <typename Record>
int ZeroUnless(int result, Record *record)
{
    if (result != 0) *record = Record();
    return result;
}

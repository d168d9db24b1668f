// FunctionLayouts.h - the table of the parameters and replies of all functions, byte by byte. Commands, decoded
// replies, help and the documentation are made from it.
//
// Numbers, names, kinds of status and lengths are the agent's own (functions/FunctionList.h); the compiler refuses a
// layout that differs from them. State: none. Threads: any.
#pragma once

#include <string>

#include "functions/FunctionList.h"
#include "protocol/Layout.h"

namespace protocol
{

constexpr size_t kRequestHeader = 10; // bytes of a request before the parameters
constexpr size_t kReplyHeader = 6;    // bytes of a reply before the data

struct FunctionLayout {
    const char *summary = "";
    Layout request = {}; // from kRequestHeader on
    Layout reply = {};   // from kReplyHeader on
    const char *note = "";
    const char *failed = ""; // the meaning of status 1; empty: none of its own
};

struct Function {
    unsigned id;
    const char *name; // empty for those that are not supported
    FunctionStatus status;
    int length; // of the reply, with its header; VARIES
    FunctionLayout layout;

    bool Supported() const { return status != STATUS_UNKNOWN; }
};

extern const Function (&kFunctions)[kFunctionCount]; // each at its own number

// By number; nullptr if there is none. Functions that are not supported are included.
const Function *FindFunction(unsigned id);
// By name only: a number is not a name.
const Function *FindFunction(const std::string &name);

} // namespace protocol

// Samples.h - parameters for every function and command, made from the tables alone.
#pragma once

#include <gtest/gtest.h>

#include "gateway/translate/Command.h"
#include "gateway/translate/Question.h"
#include "gateway/translate/Report.h"
#include "gateway/translate/Tables.h"
#include "tests/support/Bytes.h"

// What a failed assertion shows.
namespace gateway
{
inline void PrintTo(const Fault &fault, std::ostream *out)
{
    *out << fault.code << ": " << fault.what();
}
} // namespace gateway

// A value that a row of FunctionsJson() or CommandsJson() allows. No two parameters of a row have the same, as far as
// their types have different ones.
gateway::Json SampleOf(const gateway::Json &parameter, size_t position);

// All parameters of a row, or only those that are required.
gateway::Json SamplesOf(const gateway::Json &row, bool all = true);

// The row of this name.
gateway::Json RowOf(const gateway::Json &rows, const std::string &name);

// "code: sentence" of what `make` throws, or "none".
template <class Make>
std::string FaultOf(const Make &make)
{
    try {
        make();
    } catch (const gateway::Fault &fault) {
        return fault.code + ": " + fault.what();
    }
    return "none";
}

inline std::string AskFault(const std::string &function, const gateway::Json &parameters)
{
    return FaultOf([&] { gateway::MakeQuestion(function, parameters); });
}

// The request from byte 10 on; fails the test if there is none.
Bytes Asked(const std::string &function, const gateway::Json &parameters);

// Fault.h - why something that was asked is not done.
// State: none. Threads: any.
#pragma once

#include <stdexcept>
#include <string>

namespace gateway
{

// Thrown by what makes a question or command of JSON. `code` is for programs and never changes; what() is a sentence for
// people and names the parameter.
//
//   bad_json            the text is no JSON object within the bounds
//   unknown_function    no function has this name or number
//   unknown_command     no command has this name
//   bad_parameter       a parameter is unknown, missing, of the wrong type or out of range
//   offline             the router has no session
//   no_answer           the router has not answered in time
//   busy                too many questions wait for this router
//   too_many            too many questions at all, or more than the rate that is allowed
//   refused             the router could not read the request: only a wrong build or a wrong key does that
//   forbidden           questions are not allowed here
struct Fault : std::runtime_error {
    Fault(std::string which, const std::string &sentence) : std::runtime_error(sentence), code(std::move(which)) {}
    std::string code;
};

} // namespace gateway

// Question.h - questions to router functions: JSON to the bytes of a request, the bytes of a reply to JSON.
//
// Names, order and types of parameters and fields are those of protocol/FunctionLayouts.h. State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

#include "gateway/translate/Fault.h"
#include "gateway/translate/Json.h"
#include "protocol/Bytes.h"

namespace gateway
{

struct Question {
    uint16_t function = 0;
    protocol::Bytes parameters; // of the request, from byte 10 on
    bool answered = true;       // false: the router sends no reply to this function, wait for none
};

// `function` is a name or a number of the list of functions; `limit` and `surf` are set-bandwidth and set-surf-rules
// with typed parameters in place of a text. `parameters` is an object, its members in any order. A parameter of a
// record that several functions share, and one with an initial value, may be left out.
//
// Throws a Fault: unknown_function, bad_parameter. What does not fit one frame of an agent is a bad_parameter.
Question MakeQuestion(const std::string &function, const Json &parameters);

// The reply of a router to `function`, `payload` from the tag on:
// {"ok":true,"function":NAME,"number":N,"status":N,"meaning":TEXT,"fields":{...},"problems":[...]}; meaning, fields and
// problems only when there are any, "raw" (hexadecimal) beside problems. A payload that is the agent's complaint about
// the request, or has no status, is {"ok":false,...} as FaultJson() writes it, with the code "refused".
Json AnswerJson(uint16_t function, const protocol::Bytes &payload);

// {"ok":true,"function":NAME,"number":N}: of a question whose `answered` is false, once it is sent.
Json SentJson(uint16_t function);

// {"ok":false,"error":{"code":CODE,"sentence":SENTENCE}}
Json FaultJson(const Fault &fault);

} // namespace gateway

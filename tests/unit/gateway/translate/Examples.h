// Examples.h - an example of every question, answer, command and report, made from the tables: for the documents.
// State: none. Threads: any.
#pragma once

#include <cstdint>

#include "gateway/translate/Json.h"
#include "protocol/FunctionLayouts.h"
#include "protocol/UploadDecoders.h"

namespace gateway
{

// The parameters of a row of FunctionsJson() or CommandsJson(), each with a value that it takes.
Json ExampleParameters(const Json &row);

// The payload of a good reply, from the tag on, and of a report. Numbers count up, texts name their field.
protocol::Bytes ExampleReply(const protocol::Function &function);
protocol::Bytes ExampleReport(const protocol::Upload &upload);

} // namespace gateway

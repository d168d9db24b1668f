// UploadMarkdown.h - the part of docs/protocol.md that describes the reports.
// State: none. Threads: any.
#pragma once

#include <string>

namespace protocol
{

std::string UploadMarkdown();

} // namespace protocol

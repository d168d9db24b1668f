// UploadMarkdown.h - what an agent reports by itself, for the document of the protocol.
// State: none. Threads: any.
#pragma once

#include <string>

namespace protocol
{

std::string UploadMarkdown();

} // namespace protocol

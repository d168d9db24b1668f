// LayoutText.h - layouts as text for people: a row for each field, lengths, kinds of status.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "protocol/FunctionLayouts.h"

namespace protocol
{

struct LayoutRow {
    std::string offset, size, type, name, about;
};

// One row for each field; two for a field with a length or count in front. `start` is the offset of the layout. Counts
// of lists are n, m, ... in offsets and sizes.
std::vector<LayoutRow> LayoutRows(const Layout &layout, size_t start);

// "12", "12 + n", "16 and more": the length of a whole request or reply with `header` bytes before the layout.
std::string LengthText(const Layout &layout, size_t header);

// What the status of a reply is.
std::string StatusText(const Function &function);

// The length of the reply and its status, as a sentence.
std::string ReplyText(const Function &function);

// The shared records that the lists of a layout hold.
std::vector<Layout> RecordsOf(const Layout &layout);

// "WAN record, 228 bytes"
std::string RecordHeading(const Layout &record);

} // namespace protocol

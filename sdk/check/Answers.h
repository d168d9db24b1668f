// Answers.h - what texts, flags and records have to look like.
// State: none. Threads: any.
#pragma once

#include "sdk/check/Getters.h"

namespace check
{

// Checks of the first buffer; of a list, the second one is its count.
[[nodiscard]] AnswerCheck IsText();       // terminated
[[nodiscard]] AnswerCheck IsPaddedText(); // zero behind it; may fill the buffer
[[nodiscard]] AnswerCheck IsFlag();       // 0 or 1
[[nodiscard]] AnswerCheck IsPercent();
[[nodiscard]] AnswerCheck IsCount(unsigned most);
[[nodiscard]] AnswerCheck IsVersion();
[[nodiscard]] AnswerCheck IsCpu();
[[nodiscard]] AnswerCheck IsMemory();
[[nodiscard]] AnswerCheck IsWan();
[[nodiscard]] AnswerCheck AreWans();
[[nodiscard]] AnswerCheck IsSsid();
[[nodiscard]] AnswerCheck AreSsids();
[[nodiscard]] AnswerCheck IsDevice();
[[nodiscard]] AnswerCheck AreDevices(); // the count may be more than the room
[[nodiscard]] AnswerCheck AreNeighbours();
[[nodiscard]] AnswerCheck AreMacs();

} // namespace check

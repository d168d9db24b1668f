// LocalRequests.h - the requests of an agent: what is wrong with them, and how the household answers them. What a
// payload has to be stands in the agent's list (comm/FuncIdList.h).
// State: none but the caller's objects. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/AutoReportKeeper.h"
#include "simulator/manager/Household.h"
#include "simulator/manager/LocalFrame.h"

namespace sim
{

// The objects from which answers are made.
struct LocalKnowledge {
    Household *household;
    AutoReportKeeper *autoReport;
};

struct LocalAnswer {
    bool wanted = true; // false: the request has no answer
    uint8_t status = 0;
    Bytes data;       // after the status, if that is 0
    std::string note; // why the status is not 0
};

// A request, decoded and, if nothing is wrong with it, answered.
struct LocalExchange {
    std::string name;                  // empty: no such request
    Fields fields;                     // of the request
    std::vector<std::string> problems; // what an agent may never send
    LocalAnswer answer;
    Fields answerFields;
};

// Decodes and answers a request. Settings and actions change the household.
[[nodiscard]] LocalExchange AnswerRequest(const LocalFrame &request, const LocalKnowledge &knowledge);

// Decodes a frame that the local peer sends by itself. Returns nothing when it is unknown or malformed.
[[nodiscard]] Fields DecodeSaying(uint16_t id, const Bytes &payload);

// The records that the frames of a FuncID carry; a layout without fields where there is none, or a text.
struct LocalLayouts {
    Layout request;
    Layout answer; // after the status byte
    Layout saying; // what the local peer sends by itself
};
[[nodiscard]] LocalLayouts LocalLayoutsOf(uint16_t id);

// Returns the name of a FuncID, "mesh" for 73; empty for an unknown number.
[[nodiscard]] std::string LocalName(uint16_t id);
// Stores the FuncID of a name or a number, 73 for "mesh" or "73". Returns false for anything else.
[[nodiscard]] bool LocalNumber(const std::string &text, uint16_t *id);
// Returns the names of all FuncIDs.
[[nodiscard]] std::vector<std::string> LocalNames();

} // namespace sim

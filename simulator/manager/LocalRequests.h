// LocalRequests.h - what an agent asks of the management process: one row a request, with what its payload is, and how
// the household answers.
// State: none but what the caller keeps. Threads: any.
#pragma once

#include <string>
#include <vector>

#include "simulator/manager/AutoReportKeeper.h"
#include "simulator/manager/Household.h"
#include "simulator/manager/LocalFrame.h"

namespace sim
{

// What answers are made from.
struct LocalKnowledge {
    Household *household;
    AutoReportKeeper *autoReport;
};

struct LocalAnswer {
    bool wanted = true; // some requests have none
    uint8_t status = 0;
    Bytes data;       // behind the status, if that is 0
    std::string note; // why the status is not 0
};

// Decoded, and answered as far as it is in order.
struct LocalExchange {
    std::string name;                  // empty: no such request
    Fields fields;                     // of the request
    std::vector<std::string> problems; // what an agent may never send
    LocalAnswer answer;
    Fields answerFields;
};

LocalExchange AnswerRequest(const LocalFrame &request, const LocalKnowledge &knowledge);

// What a frame says that is no answer; empty when it is not known or not as it should be.
Fields DecodeSaying(uint16_t id, const Bytes &payload);

// "mesh" for 73; empty for a number that nobody uses.
std::string LocalName(uint16_t id);
// 73 for "mesh" or "73". False for anything else.
bool LocalNumber(const std::string &text, uint16_t *id);
std::vector<std::string> LocalNames();

} // namespace sim

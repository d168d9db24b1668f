#include "simulator/platform/PlatformFaults.h"

namespace sim
{

namespace
{
const unsigned kAnswers = STEP_REGISTER | STEP_LOGIN | STEP_HEARTBEAT | STEP_UPLOAD;
const unsigned kSession = STEP_REGISTER | STEP_LOGIN;
const unsigned kAll = kAnswers | STEP_COMMAND;

struct StepRow {
    Step step;
    const char *name;
};
const StepRow kSteps[] = {
    {STEP_REGISTER, "register"}, {STEP_LOGIN, "login"},     {STEP_HEARTBEAT, "heartbeat"},
    {STEP_UPLOAD, "upload"},     {STEP_COMMAND, "command"},
};

std::string StepsText(unsigned steps)
{
    std::string text;
    for (const StepRow &row : kSteps)
        if (steps & row.step) text += (text.empty() ? "" : ", ") + std::string(row.name);
    return text;
}

bool NarrowToStep(const std::string &where, ActiveFault *fault, std::string *error)
{
    const FaultRow &row = *fault->row;
    for (const StepRow &step : kSteps) {
        if (where != step.name || !(step.step & row.allowed)) continue;
        // Narrowed to its default place, it is shown without @STEP.
        if (step.step != row.places) fault->where = where;
        fault->places = step.step;
        return true;
    }
    *error = std::string(row.name) + " can happen at " + StepsText(row.allowed) + " only";
    return false;
}
} // namespace

const FaultTable kPlatformFaults = {
    "misbehave",
    "STEP",
    "NAME[@STEP][=VALUE] [COUNT]; without COUNT until \"misbehave off\". Each line names the steps at which\n"
    "the fault happens; those in brackets only with @STEP.\n\n",
    ", ",
    " times",
    {
        {"refuse", kNoValue, "close a connection as soon as it is accepted", kSession, kSession},
        {"silent", kNoValue, "do not answer (command: do not send)", kAnswers, kAll},
        {"late", SecondsValue(), "send SECONDS later; other frames may overtake", kAnswers, kAll},
        {"refuse-error", NumberValue("CODE", "1", 1, 65535),
         "put an error code into the head block of the acknowledgement", STEP_REGISTER, kSession},
        {"empty-ack", kNoValue, "send the acknowledgement without a body", kSession, kAnswers},
        {"interval", NumberValue("SECONDS", nullptr, -32768, 32767),
         "announce another heartbeat interval, -32768 to 32767", STEP_LOGIN, STEP_LOGIN},
        {"announce", FaultValue{FaultValue::AddressAndPort, "ADDR:PORT", "0.0.0.0:0"}, "announce another login server",
         STEP_REGISTER, STEP_REGISTER},
        {"bad-checksum", kNoValue, "send a checksum that is one too high", STEP_COMMAND, kAll},
        {"wrong-key", FaultValue{FaultValue::Text, "TEXT", "not the key"}, "encrypt with another key", kAll, kAll},
        {"inner-length", NumberValue("N", "1000", 1, 65535), "announce N bytes more in the inner record than it has",
         STEP_COMMAND, STEP_COMMAND | STEP_UPLOAD},
        {"cut-body", NumberValue("N", "1", 1, 65535),
         "leave out the last N bytes of the body, with a header that says so", STEP_COMMAND, kAll},
        {"short-body", NumberValue("N", "1", 1, 65535),
         "leave out the last N bytes of the body, with a header that announces them", STEP_COMMAND, kAll},
        {"long-body", NumberValue("N", "16", 1, 1048576),
         "send N bytes behind the body that the header does not announce", STEP_COMMAND, kAll},
        {"announce-body", NumberValue("N", "65535", 0, 65535), "announce a body of N bytes in the header", STEP_COMMAND,
         kAll},
        {"network-failure", kNoValue, "send a body that begins FF FF instead of the real one", STEP_HEARTBEAT, kAll},
        {"duplicate", kNoValue, "send the frame twice", kAnswers, kAll},
        {"forced-disconnect", kNoValue, "send a forced disconnect (MsgType 3) behind the frame", STEP_HEARTBEAT, kAll},
        {"close-mid-frame", kNoValue, "send the first half of the frame and close the connection", STEP_COMMAND, kAll},
        {"close", kNoValue, "close the connection behind the frame", STEP_HEARTBEAT, kAll},
        {"fragments", FaultValue{FaultValue::NumberAndPause, "N[,MS]", "1,0", 1, 65535},
         "send in pieces of N bytes, MS milliseconds apart", kAll, kAll},
        {"drip", NumberValue("MS", "1000", 1, 3600000), "send a byte every MS milliseconds", kAll, kAll},
        {"deaf", SecondsValue(),
         "read nothing for SECONDS behind the frame, while commands are still sent: the agent's frames fill its socket",
         STEP_HEARTBEAT, kAll},
        {"garbage", NumberValue("N", "100", 1, 1048576),
         "send N random bytes before the frame, no magic among them (--seed makes others)", kAll, kAll},
        {"noise", NumberValue("MEGABYTES", "1", 1, 64),
         "send MEGABYTES of random bytes before the frame, perhaps with a magic among them", STEP_COMMAND, kAll},
    },
    NarrowToStep,
    StepsText,
};

std::string StepName(Step step)
{
    return StepsText(step);
}

FaultPlace PlaceOf(Step step)
{
    return {StepName(step), step};
}

} // namespace sim

#include "protocol/Meanings.h"

#include "plugin/ParseJson.h"
#include "protocol/Names.h"
#include "rules/Bandwidth.h"
#include "rules/PortForward.h"
#include "rules/SurfRules.h"

namespace protocol
{

namespace
{
struct Meaning {
    unsigned number; // function or data type
    int result;
    const char *text;
};

constexpr Meaning kStatuses[] = {
    {kLimitFunction, BANDWIDTH_DONE, "the agent is through with the text; how that went is in its log alone"},
    {kSurfFunction, SURF_DONE, "done"},
    {kSurfFunction, SURF_NO_TEXT, "there is no text"},
    {kSurfFunction, SURF_NOT_PARSED, "the text is no JSON"},
    {kSurfFunction, SURF_NO_FLAG, "an item lacks FLAG"},
    {kSurfFunction, SURF_NO_MAC, "an item lacks MAC"},
    {kSurfFunction, SURF_NO_DAY, "an item lacks DAY"},
    {kSurfFunction, SURF_NO_START, "an item lacks START"},
    {kSurfFunction, SURF_NO_STOP, "an item lacks STOP"},
    {kSurfFunction, SURF_NO_ALLOW, "an item lacks ALLOW"},
};

constexpr char kBadText[] = "the text is no JSON, or a member is missing";

constexpr Meaning kResults[] = {
    {PLUGIN_UPDATE_COMMAND, 0, "always: whether the text was a good one is in the agent's log alone"},
    {PLUGIN_UPDATE, 0, "always: how the update ended is in its report"},
    {4, 0, "the text has a result"},
    {4, -1, "the text is no JSON or has no result"},
    {5, 0, "noted"},
    {5, -1, kBadText},
    {6, 0, "noted"},
    {6, -1, kBadText},
    {7, 0, "noted"},
    {7, -1, kBadText},
    {PLUG_ROUTE_SET, PORT_FORWARD_DONE, "the commands were run; what the packet filter said to them is not known"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_TEXT, "there is no text"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_JSON, "the text is no JSON"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_FLAG, "FLAG is missing"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_PRE_IP, "PRE_IP is missing"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_PRE_PORT, "PRE_PORT is missing"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_POST_IP, "POST_IP is missing"},
    {PLUG_ROUTE_SET, PORT_FORWARD_NO_POST_PORT, "POST_PORT is missing"},
    {PLUG_ROUTE_SET, PORT_FORWARD_BAD_FLAG, "FLAG begins with neither 1 nor 0"},
    {PLUG_ROUTE_SET, PORT_FORWARD_BAD_TEXT, "an address or a port is too long or no plain word; nothing was run"},
    {PLUGIN_FIRMWARE_CHECK, 0, "noted for the update"},
    {PLUGIN_FIRMWARE_CHECK, 1, "fromVersion is missing"},
    {PLUGIN_FIRMWARE_CHECK, 2, "toVersion is missing"},
    {PLUGIN_FIRMWARE_CHECK, -1, "the text is no JSON"},
    {PLUGIN_FIRMWARE_UPDATE, 0, "passed on to the router's management process, whose outcome comes as a report"},
    {PLUGIN_FIRMWARE_UPDATE, -1, "not passed on; why is in the report before this"},
    {PLUGIN_REPORT_INTERVAL, 0, "done"},
    {PLUGIN_REPORT_INTERVAL, -1, "the text is no JSON, or func40Interval is missing or not 0 to 19"},
};

template <size_t Count>
std::string MeaningOf(const Meaning (&rows)[Count], unsigned number, int result)
{
    for (const Meaning &row : rows)
        if (row.number == number && row.result == result) return row.text;
    return "";
}
} // namespace

std::string StatusMeaning(unsigned function, int status)
{
    return MeaningOf(kStatuses, function, status);
}

std::string ResultMeaning(uint8_t dataType, int result)
{
    return MeaningOf(kResults, dataType, result);
}

} // namespace protocol

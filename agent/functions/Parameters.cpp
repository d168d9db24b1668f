#include "functions/Parameters.h"

uint32_t TakeIp(WireReader *parameters)
{
    uint32_t sent, ip;
    WireGetBytes(parameters, &sent, sizeof sent);
    swapNet32(&ip, sent);
    return ip;
}

static const uint8_t kNothing[6] = {};

const uint8_t *TakeMac(WireReader *parameters)
{
    const uint8_t *mac = WireTake(parameters, 6);
    return mac ? mac : kNothing;
}

const char *TakeText(WireReader *parameters)
{
    const size_t room = parameters->left;
    const uint8_t *text = WireTake(parameters, room);
    if (room == 0 || !text) return "";
    // The request stands in a buffer of ours with room behind the longest payload, so nothing that was sent is cut.
    const_cast<uint8_t *>(text)[room - 1] = '\0';
    return reinterpret_cast<const char *>(text);
}

void PutIp(WireWriter *reply, uint32_t ip)
{
    uint8_t reversed[4];
    swapNet32(reversed, ip);
    WirePutBytes(reply, reversed, sizeof reversed);
}

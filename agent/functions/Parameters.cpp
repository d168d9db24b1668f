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
    const uint8_t *text = parameters->left > 0 ? WireTake(parameters, parameters->left) : nullptr;
    return text ? reinterpret_cast<const char *>(text) : "";
}

void PutIp(WireWriter *reply, uint32_t ip)
{
    uint8_t reversed[4];
    swapNet32(reversed, ip);
    WirePutBytes(reply, reversed, sizeof reversed);
}

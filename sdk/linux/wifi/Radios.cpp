#include "sdk/linux/wifi/Radios.h"

const Radio *RadioByIndex(int)
{
    return nullptr;
}

bool IsWireless(int index)
{
    return RadioByIndex(index) != nullptr;
}

uint16_t SsidIndexOf(const char *)
{
    return 0;
}

const Station *StationOf(const uint8_t *)
{
    return nullptr;
}

uint16_t ScanResults(AdjWifi *)
{
    return 0;
}

#include "functions/RateTest.h"

int RateTestStart(WireReader *, WireWriter *reply)
{
    WirePutZeros(reply, 12);
    return 0;
}

int ParseConfigData(const char *, int)
{
    return 1;
}

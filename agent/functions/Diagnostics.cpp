#include "functions/Diagnostics.h"

#include "functions/Ping.h"
#include "functions/RateTest.h"
#include "functions/Traceroute.h"

void StopDiagnostics()
{
    StopPing();
    StopTraceroute();
    StopRateTest();
}

// RateTest.h - function 61, and the configured test of function 87.
// State: none yet. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// There is no rate test yet. Reply: 12 zero bytes.
int RateTestStart(WireReader *parameters, WireWriter *reply);

// Carries out the configuration `text` of `length` bytes. Returns 0 or 1. There is no rate test yet: always 1.
int ParseConfigData(const char *text, int length);

// Services.h - the file and terminal services of the router: functions 26 to 29; and the reserved functions 20 and 24.
// State: none. Threads: the response thread.
#pragma once

#include "functions/FunctionHandler.h"

// Reply: 20 zeros and a 1.
int ReservedQuery(WireReader *parameters, WireWriter *reply);

// Reply: a byte each for FTP, Samba and Telnet. The first failure is the result.
int ServicesQuery(WireReader *parameters, WireWriter *reply);

// Parameters: a byte each for FTP, Samba and Telnet. The status is always 0.
int ServicesSetting(WireReader *parameters, WireWriter *reply);

// Reply: user and password of FTP, Samba and Telnet, 16 bytes each. The first failure is the result.
int AccountsQuery(WireReader *parameters, WireWriter *reply);

// Parameters: the same six fields. The status is always 0.
int AccountsSetting(WireReader *parameters, WireWriter *reply);

// CBHandle.h - handles the frames from the platform.
// State:    none of its own; it writes the session state of Protool.h.
// Threads:  the response thread only, one frame at a time.
#pragma once

#include "platform/TcpQueue.h"

// Decrypts the frame, verifies the checksum of commands and handles it by its MsgType: acknowledgements change the
// session state, function commands go to ParserProtoolData(), plugin commands to ParserPlugData(). Every command is
// answered; what cannot be decrypted is dropped. A forced disconnect ends the process.
void CBHandle(const ReceivedFrame &frame);

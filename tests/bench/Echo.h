// Echo.h - the least that any agent has to do: receive, hand to a second thread, decrypt, encrypt, send.
#pragma once

#include <cstddef>
#include <cstdint>

// Forks a process that connects to 127.0.0.1:`port` and echoes there until the connection ends: takes requestLen bytes,
// of which the last bodyLen are decrypted, and answers replyLen bytes, of which the last replyPadded are the cipher of
// a text of replyPadded - 1 bytes. Both threads block: one in recv(), one on a condition variable.
void StartEcho(uint16_t port, size_t requestLen, size_t bodyLen, size_t replyLen, size_t replyPadded);

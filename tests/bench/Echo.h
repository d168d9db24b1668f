// Echo.h - the least that any agent has to do: receive, decrypt, encrypt, send; with two threads, hand over in between.
#pragma once

#include <cstddef>
#include <cstdint>

// Forks a process that connects to 127.0.0.1:`port` and echoes there until the connection ends: takes requestLen bytes,
// of which the last bodyLen are decrypted, and answers replyLen bytes, of which the last replyPadded are the cipher of
// a text of replyPadded - 1 bytes. With two `threads` one blocks in recv(), and one, which answers, on a condition variable.
void StartEcho(int threads, uint16_t port, size_t requestLen, size_t bodyLen, size_t replyLen, size_t replyPadded);

// iot_signal.h - the access daemon's dormant pieces: its UDP sender and the tools for a protocol that it does not
// speak. Nothing in the agent calls them but test_security(). State:    the descriptor below, which nothing opens.
// Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>

extern int32_t udpfd; // what eaccess_send() sends on; 0, nobody assigns it

constexpr int kHexTextSize = 3072; // of the text that printhex() makes

// Sends `len` bytes to `addr` in one datagram. Returns the bytes sent; -1 when that fails, and, with a log line, when
// `buf` or `addr` is null or `len` negative.
int eaccess_send(const void *buf, int len, const struct sockaddr_in *addr);

// The same, tried up to five times until at least one byte has left, with a copy of the first 1024 bytes at most.
// Returns the last try's result.
int eaccess_send_retry(const void *buf, int len, const struct sockaddr_in *addr);

// The dotted text of an IPv4 address in network order. Returns 16 bytes to be freed with OsFree(), or null.
char *eaccess_addr_text(uint32_t addr);

// Logs bytes as hexadecimal digits at debug level, when the agent runs with -d and `len` is below kHexTextSize; as many
// as its text has room for.
void printhex(const void *buf, int len);

// Does nothing yet. Returns 0.
int test_security(const char *text);

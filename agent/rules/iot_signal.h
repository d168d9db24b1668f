// iot_signal.h - unused parts of the access daemon: a UDP sender, and tools for a protocol that it does not speak. The
// agent calls only test_security().
// State:    the descriptor below, which nothing opens.
// Threads:  any.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>

extern int32_t udpfd; // the socket of eaccess_send(); nothing sets it, so it is 0

constexpr int kHexTextSize = 3072; // of the text of printhex(), terminator included

// Sends `len` bytes to `addr` in one datagram. Returns the number of bytes sent, or -1 if that fails. If `buf` or
// `addr` is null or `len` negative, logs it and returns -1.
int eaccess_send(const void *buf, int len, const struct sockaddr_in *addr);

// The same with a copy of at most the first 1024 bytes; repeated until at least one byte was sent, at most five times.
// Returns the result of the last try.
int eaccess_send_retry(const void *buf, int len, const struct sockaddr_in *addr);

// Returns the dotted text of an IPv4 address in network byte order: 16 bytes, to be freed with OsFree(), or null if
// there is no memory.
[[nodiscard]] char *eaccess_addr_text(uint32_t addr);

// Logs the bytes as hexadecimal digits at debug level, as many as fit into kHexTextSize characters. Does nothing unless
// the agent runs with -d and `len` is below kHexTextSize.
void printhex(const void *buf, int len);

// Does nothing yet. Returns 0.
int test_security(const char *text);

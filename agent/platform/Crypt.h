// Crypt.h - AES-128-CBC (FIPS 197, NIST SP 800-38A) for the bodies of platform frames.
//
// Keys are texts: the first 16 bytes of the KEY setting, a shorter one filled up with zero bytes. Every frame starts
// from an initialisation vector of sixteen zero bytes. PKCS#7 padding (RFC 5652, 6.3) is always added.
//
// State: none. Threads: any.
#pragma once

#include <cstddef>
#include <cstdint>

constexpr size_t kAesBlock = 16;

// The length of `plainLen` bytes with their padding: the next multiple of 16, at least one byte more.
constexpr size_t AesPaddedLength(size_t plainLen)
{
    return (plainLen / kAesBlock + 1) * kAesBlock;
}

// Encrypts `inLen` bytes of `in` into `out`, which has room for AesPaddedLength(inLen) bytes; `in` and `out` may be
// the same buffer. `*outLen` becomes AesPaddedLength(inLen). Returns 0, or -1 with a log line and nothing written
// when the key cannot be set.
int aes_encrypt(const char *key, const uint8_t *in, uint8_t *out, size_t inLen, size_t *outLen);

// Decrypts the whole blocks of the `inLen` bytes at `in` into `out` (room for inLen bytes; may be the same buffer).
// `*outLen` becomes their length, padding included: the inner length field tells where the payload ends. Bytes after
// the last whole block are ignored. Returns 0, or -1 with a log line.
int aes_decrypt(const char *key, const uint8_t *in, uint8_t *out, size_t inLen, size_t *outLen);

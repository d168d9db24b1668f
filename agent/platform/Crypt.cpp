#define LOG_MODULE "Protool"
#include "platform/Crypt.h"

#include <cstring>
#include <openssl/aes.h>

#include "core/Common.h"

static const int kKeyBits = 128;

// The key setting as 16 bytes; a short text is followed by zero bytes.
static void KeyBytes(const char *key, uint8_t bytes[kKeyBits / 8])
{
    memset(bytes, 0, kKeyBits / 8);
    memcpy(bytes, key, strnlen(key, kKeyBits / 8));
}

int aes_encrypt(const char *key, const uint8_t *in, uint8_t *out, size_t inLen, size_t *outLen)
{
    uint8_t keyBytes[kKeyBits / 8];
    KeyBytes(key, keyBytes);
    AES_KEY schedule;
    if (AES_set_encrypt_key(keyBytes, kKeyBits, &schedule) != 0) {
        LOG_ERR("Unable to set encryption key in AES error !!!!!");
        return -1;
    }
    const size_t whole = inLen / kAesBlock * kAesBlock;
    uint8_t last[kAesBlock];
    memset(last, static_cast<int>(kAesBlock - (inLen - whole)), sizeof last);
    if (inLen > whole) memcpy(last, in + whole, inLen - whole);

    uint8_t vector[kAesBlock] = {};
    if (whole > 0) AES_cbc_encrypt(in, out, whole, &schedule, vector, AES_ENCRYPT);
    AES_cbc_encrypt(last, out + whole, kAesBlock, &schedule, vector, AES_ENCRYPT);
    *outLen = whole + kAesBlock;
    return 0;
}

int aes_decrypt(const char *key, const uint8_t *in, uint8_t *out, size_t inLen, size_t *outLen)
{
    uint8_t keyBytes[kKeyBits / 8];
    KeyBytes(key, keyBytes);
    AES_KEY schedule;
    if (AES_set_decrypt_key(keyBytes, kKeyBits, &schedule) != 0) {
        LOG_ERR("Unable to set decryption key in AES error !!!!!");
        return -1;
    }
    *outLen = AesPaddedLength(inLen) - kAesBlock;
    if (*outLen == 0) return 0;
    uint8_t vector[kAesBlock] = {};
    AES_cbc_encrypt(in, out, *outLen, &schedule, vector, AES_DECRYPT);
    return 0;
}

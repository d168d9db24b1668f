#include "gateway/session/Token.h"

#include <algorithm>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <stdexcept>

namespace gateway
{

static constexpr size_t kClear = kMacSize + 4;

static void Sign(const std::string &secret, const std::string &pin, const std::string &serial, TokenBytes *token)
{
    std::string text = pin.substr(0, kPinHeadSize);
    text.resize(kPinHeadSize);
    text += serial;
    text.append(token->begin(), token->begin() + kClear);
    uint8_t digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (!HMAC(EVP_sha256(), secret.data(), static_cast<int>(secret.size()),
              reinterpret_cast<const uint8_t *>(text.data()), text.size(), digest, &size))
        throw std::runtime_error("HMAC");
    std::copy_n(digest, kTokenSize - kClear, token->begin() + kClear);
}

TokenBytes MakeToken(const std::string &secret, const std::string &pin, const std::string &serial, const Mac &mac,
                     int64_t now)
{
    TokenBytes token;
    std::copy(mac.begin(), mac.end(), token.begin());
    for (size_t i = 0; i < 4; i++) token[kMacSize + i] = static_cast<uint8_t>(now >> (24 - 8 * i));
    Sign(secret, pin, serial, &token);
    return token;
}

bool CheckToken(const std::string &secret, const std::string &pin, const std::string &serial, const TokenBytes &token,
                int64_t now, int64_t life, Mac *mac)
{
    TokenBytes right = token;
    Sign(secret, pin, serial, &right);
    const bool same = CRYPTO_memcmp(right.data(), token.data(), token.size()) == 0;
    int64_t issued = 0;
    for (size_t i = 0; i < 4; i++) issued = issued << 8 | token[kMacSize + i];
    if (!same || now - issued > life || issued - now > kClockSkew) return false;
    std::copy_n(token.begin(), mac->size(), mac->begin());
    return true;
}

} // namespace gateway

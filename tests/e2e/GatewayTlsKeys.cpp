#include "tests/e2e/GatewayTlsKeys.h"

#include <cstdlib>
#include <ctime>
#include <memory>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include "gateway/translate/Json.h"
#include "protocol/Bytes.h"
#include "tests/e2e/Process.h"
#include "tests/support/Files.h"

using gateway::Json;
using protocol::Bytes;

// ---- Certificates

static void Openssl(const std::string &arguments)
{
    const std::string command = "/usr/bin/openssl " + arguments + " >/tmp/openssl.log 2>&1";
    if (system(command.c_str()) != 0) throw Failure(command + "\n" + ReadFile("/tmp/openssl.log"));
}

static const char kNewKey[] = "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes";

Authority::Authority(const std::string &name) : name_("/tmp/" + name)
{
    Openssl(std::string("req -x509 ") + kNewKey + " -subj /CN=" + name + " -days 2 -keyout " + name_ + ".key -out " +
            name_ + ".pem");
}

std::string Authority::Issue(const std::string &name, const std::string &subject) const
{
    std::string path = "/tmp/" + name;
    WriteFile(path + ".ext", "subjectAltName=" + subject + "\n");
    Openssl(std::string("req ") + kNewKey + " -subj /CN=" + name + " -keyout " + path + ".key -out " + path + ".csr");
    Openssl("x509 -req -in " + path + ".csr -CA " + name_ + ".pem -CAkey " + name_ + ".key -CAcreateserial -days 2 " +
            "-extfile " + path + ".ext -out " + path + ".pem");
    return path;
}

// ---- Credentials: Ed25519 keys as texts of base32, and JSON web tokens that they sign

static std::string Base32(const Bytes &bytes)
{
    std::string text;
    unsigned bits = 0, count = 0;
    for (const uint8_t byte : bytes) {
        bits = bits << 8 | byte;
        for (count += 8; count >= 5; count -= 5) text += "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"[bits >> (count - 5) & 31];
    }
    if (count > 0) text += "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567"[bits << (5 - count) & 31];
    return text;
}

// With its check: CRC-16 as XMODEM has it, little-endian.
static std::string KeyText(Bytes bytes)
{
    uint16_t crc = 0;
    for (const uint8_t byte : bytes) {
        crc = static_cast<uint16_t>(crc ^ byte << 8);
        for (int i = 0; i < 8; i++) crc = static_cast<uint16_t>(crc & 0x8000 ? crc << 1 ^ 0x1021 : crc << 1);
    }
    bytes.push_back(static_cast<uint8_t>(crc));
    bytes.push_back(static_cast<uint8_t>(crc >> 8));
    return Base32(bytes);
}

static std::string Base64Url(const Bytes &bytes)
{
    std::string text(4 * bytes.size() / 3 + 8, '\0');
    const int size =
        EVP_EncodeBlock(reinterpret_cast<uint8_t *>(text.data()), bytes.data(), static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(size));
    while (!text.empty() && text.back() == '=') text.pop_back();
    for (char &c : text) c = c == '+' ? '-' : c == '/' ? '_' : c;
    return text;
}

// The first letter of a key tells its kind.
enum Kind : uint8_t { kAccount = 0, kOperator = 14 << 3, kUser = 20 << 3, kSeed = 18 << 3 };

struct Accounts::Key {
    explicit Key(Kind kind)
    {
        Bytes seed(32), open(32);
        size_t size = open.size();
        if (RAND_bytes(seed.data(), 32) != 1) throw Failure("no random bytes");
        key.reset(EVP_PKEY_new_raw_private_key(EVP_PKEY_ED25519, nullptr, seed.data(), seed.size()));
        if (!key || EVP_PKEY_get_raw_public_key(key.get(), open.data(), &size) != 1) throw Failure("no Ed25519 key");
        open.insert(open.begin(), kind);
        name = KeyText(open);
        const uint8_t head[] = {static_cast<uint8_t>(kSeed | kind >> 5), static_cast<uint8_t>((kind & 31) << 3)};
        seed.insert(seed.begin(), head, head + 2);
        secret = KeyText(seed);
    }

    // What this key says about another one, or about itself.
    std::string Sign(const std::string &subject, Json claims) const
    {
        const Json token = {{"jti", subject}, {"iat", time(nullptr)}, {"iss", name},
                            {"name", "test"}, {"sub", subject},       {"nats", std::move(claims)}};
        const std::string text = Base64Url(protocol::ToBytes(R"({"typ":"JWT","alg":"ed25519-nkey"})")) + "." +
                                 Base64Url(protocol::ToBytes(token.dump()));
        Bytes signature(64);
        size_t size = signature.size();
        const std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX *)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
        if (EVP_DigestSignInit(context.get(), nullptr, nullptr, nullptr, key.get()) != 1 ||
            EVP_DigestSign(context.get(), signature.data(), &size, reinterpret_cast<const uint8_t *>(text.data()),
                           text.size()) != 1)
            throw Failure("no signature");
        return text + "." + Base64Url(signature);
    }

    std::unique_ptr<EVP_PKEY, void (*)(EVP_PKEY *)> key{nullptr, EVP_PKEY_free};
    std::string name, secret;
};

Accounts::Accounts()
    : operator_(std::make_unique<Key>(kOperator)), system_(std::make_unique<Key>(kAccount)),
      account_(std::make_unique<Key>(kAccount))
{
}

Accounts::~Accounts() = default;

void Accounts::WriteConfiguration(const std::string &path) const
{
    Json limits;
    for (const char *name : {"subs", "data", "payload", "imports", "exports", "conn", "leaf"}) limits[name] = -1;
    limits["wildcards"] = true;
    const auto account = [&](const Key &key) {
        return key.name + ": " + operator_->Sign(key.name, {{"type", "account"}, {"version", 2}, {"limits", limits}});
    };
    std::string text = "operator: " + operator_->Sign(operator_->name, {{"type", "operator"}, {"version", 2}}) +
                       "\nsystem_account: " + system_->name + "\nresolver: MEMORY\nresolver_preload: {\n" +
                       account(*system_) + "\n";
    for (const char *name : {"mem_storage", "disk_storage", "streams", "consumer"}) limits[name] = -1; // JetStream
    WriteFile(path, text + account(*account_) + "\n}\n");
}

std::string Accounts::WriteCredentials(const std::string &path) const
{
    const Key user(kUser);
    const std::string token =
        account_->Sign(user.name, {{"type", "user"}, {"version", 2}, {"subs", -1}, {"data", -1}, {"payload", -1}});
    WriteFile(path, "-----BEGIN NATS USER JWT-----\n" + token + "\n------END NATS USER JWT------\n\n" +
                        "-----BEGIN USER NKEY SEED-----\n" + user.secret + "\n------END USER NKEY SEED------\n");
    return user.secret;
}

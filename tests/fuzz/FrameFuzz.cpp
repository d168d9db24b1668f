// Any bytes as a frame header, as an inner record, as a body to encrypt and as one to decrypt: what is accepted can be
// written again, and what is encrypted can be decrypted.
#include <cstring>
#include <vector>

#include "FuzzOs.h"
#include "core/Common.h"
#include "platform/Crypt.h"
#include "platform/Frame.h"

static void Header(const uint8_t *data, size_t size)
{
    FrameHeader header;
    if (!FrameReadHeader(data, size, &header)) {
        REQUIRE(size < kFrameHeaderSize || data[0] != kFrameMagic0 || data[1] != kFrameMagic1);
        return;
    }
    const size_t length = kFrameHeaderSize + header.headLen + header.bodyLen;
    if (size < length) return;
    std::vector<uint8_t> again(length);
    const uint8_t *head = data + kFrameHeaderSize;
    REQUIRE(FrameWrite(header, head, head + header.headLen, again.data(), again.size()) == length);
    REQUIRE(memcmp(again.data(), data, length) == 0);
    REQUIRE(FrameWrite(header, head, head + header.headLen, again.data(), length - 1) == 0);
}

static void Record(const uint8_t *data, size_t size, bool withMac)
{
    InnerRecord record;
    if (!InnerRecordRead(data, size, withMac, &record)) return;
    const size_t before = withMac ? 11 : 5;
    REQUIRE(record.payload == data + before);
    REQUIRE(record.payloadLen <= size - before);
    std::vector<uint8_t> again(before + record.payloadLen);
    REQUIRE(InnerRecordWrite(record, again.data(), again.size()) == again.size());
    REQUIRE(memcmp(again.data() + 2, data + 2, again.size() - 2) == 0); // the first two bytes are always sent as zeros
    REQUIRE(InnerRecordWrite(record, again.data(), again.size() - 1) == 0);
}

static void Encryption(const char *key, const uint8_t *data, size_t size)
{
    std::vector<uint8_t> body(AesPaddedLength(size));
    std::vector<uint8_t> plain(body.size());
    size_t bodyLen, plainLen;
    REQUIRE(aes_encrypt(key, data, body.data(), size, &bodyLen) == 0);
    REQUIRE(bodyLen == body.size() && bodyLen % kAesBlock == 0 && bodyLen > size);
    REQUIRE(aes_decrypt(key, body.data(), plain.data(), bodyLen, &plainLen) == 0);
    REQUIRE(plainLen == bodyLen);
    REQUIRE(size == 0 || memcmp(plain.data(), data, size) == 0);
    for (size_t i = size; i < plainLen; i++) REQUIRE(plain[i] == plainLen - size);

    // The result in place is the same.
    std::vector<uint8_t> same(body.size());
    if (size > 0) memcpy(same.data(), data, size);
    REQUIRE(aes_encrypt(key, same.data(), same.data(), size, &bodyLen) == 0 && same == body);

    // Random bytes decrypt to whole blocks, never more than the input.
    plain.resize(size);
    REQUIRE(aes_decrypt(key, data, plain.data(), size, &plainLen) == 0);
    REQUIRE(plainLen == size / kAesBlock * kAesBlock);
}

static void Checksum(const uint8_t *data, size_t size)
{
    unsigned sum = 0;
    for (size_t i = 0; i < size; i++) sum += data[i];
    REQUIRE(GetCheckSum(data, size) == sum % 256);
    for (size_t cut = 0; cut <= size && cut < 40; cut++) // any alignment
        REQUIRE(FrameChecksum(0x1234, data, cut, data + cut, size - cut) == (sum + 0x12 + 0x34) % 256);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    Header(data, size);
    Record(data, size, false);
    Record(data, size, true);
    Checksum(data, size);
    FuzzInput input = {data, size};
    const std::string key = input.Text();
    Encryption(key.c_str(), input.data, input.left);
    return 0;
}

#include "platform/SessionFrames.h"

#include <cstring>

#include "core/Wire.h"
#include "platform/Frame.h"

static const size_t kRegisterTrailer = 32; // zero bytes after the MAC
static const size_t kLoginLead = 19;       // zero bytes before the version
// Two fixed bytes after the version; every agent in the field sends these.
static const uint8_t kLoginTrailer[2] = {1, 0x36};

static size_t Written(const WireWriter &w)
{
    return w.failed ? 0 : w.used;
}

void PinField(const char *pin, uint8_t field[kPinHeadSize])
{
    memset(field, 0, kPinHeadSize);
    memcpy(field, pin, strnlen(pin, kPinHeadSize));
}

size_t RegisterHeadWrite(const RegisterRequest &request, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePutZeros(&w, kRegisterHeadSize - kPinHeadSize);
    WirePutBytes(&w, request.pin, kPinHeadSize);
    return Written(w);
}

size_t RegisterRecordWrite(const RegisterRequest &request, uint8_t *out, size_t size)
{
    if (request.serialLen > kMaxSerial) return 0;
    WireWriter w = WireWrite(out, size);
    WirePutLe16(&w, 0);
    WirePut8(&w, static_cast<uint8_t>(request.serialLen));
    WirePutBytes(&w, request.serial, request.serialLen);
    WirePutBytes(&w, request.mac, kMacSize);
    WirePutZeros(&w, kRegisterTrailer);
    return Written(w);
}

bool RegisterRequestRead(const uint8_t *head, size_t headLen, const uint8_t *record, size_t recordLen,
                         RegisterRequest *request)
{
    WireReader h = WireRead(head, headLen);
    WireTake(&h, kRegisterHeadSize - kPinHeadSize);
    WireGetBytes(&h, request->pin, kPinHeadSize);

    WireReader r = WireRead(record, recordLen);
    WireTake(&r, 2);
    request->serialLen = WireGet8(&r);
    request->serial = reinterpret_cast<const char *>(WireTake(&r, request->serialLen));
    request->mac = WireTake(&r, kMacSize);
    WireTake(&r, kRegisterTrailer);
    return !h.failed && !r.failed && request->serialLen <= kMaxSerial;
}

size_t RegisterAckWrite(const RegisterAck &ack, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePutLe16(&w, 0);
    WirePutBytes(&w, ack.token, kTokenSize);
    WirePutBytes(&w, ack.server, sizeof ack.server);
    WirePutLe16(&w, ack.port);
    WirePutBytes(&w, ack.pluginId, kPluginIdSize);
    return Written(w);
}

bool RegisterAckRead(const uint8_t *record, size_t recordLen, RegisterAck *ack)
{
    WireReader r = WireRead(record, recordLen);
    WireTake(&r, 2);
    WireGetBytes(&r, ack->token, kTokenSize);
    WireGetBytes(&r, ack->server, sizeof ack->server);
    ack->port = WireGetLe16(&r);
    WireGetBytes(&r, ack->pluginId, kPluginIdSize);
    return !r.failed;
}

size_t LoginHeadWrite(const LoginRequest &request, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePutBytes(&w, request.pin, kPinHeadSize);
    WirePutBytes(&w, request.token, kTokenSize);
    return Written(w);
}

size_t LoginRecordWrite(const LoginRequest &request, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePutZeros(&w, kLoginLead);
    WirePutBytes(&w, request.version, sizeof request.version);
    WirePutBytes(&w, kLoginTrailer, sizeof kLoginTrailer);
    return Written(w);
}

bool LoginRequestRead(const uint8_t *head, size_t headLen, const uint8_t *record, size_t recordLen,
                      LoginRequest *request)
{
    WireReader h = WireRead(head, headLen);
    WireGetBytes(&h, request->pin, kPinHeadSize);
    WireGetBytes(&h, request->token, kTokenSize);

    WireReader r = WireRead(record, recordLen);
    WireTake(&r, kLoginLead);
    WireGetBytes(&r, request->version, sizeof request->version);
    WireTake(&r, sizeof kLoginTrailer);
    return !h.failed && !r.failed;
}

size_t LoginAckWrite(int16_t interval, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePutLe16(&w, 0);
    WirePutLe16(&w, static_cast<uint16_t>(interval));
    return Written(w);
}

bool LoginAckRead(const uint8_t *record, size_t recordLen, int16_t *interval)
{
    WireReader r = WireRead(record, recordLen);
    WireTake(&r, 2);
    *interval = static_cast<int16_t>(WireGetLe16(&r));
    return !r.failed;
}

size_t HeartbeatHeadWrite(uint32_t seconds, uint8_t *out, size_t size)
{
    WireWriter w = WireWrite(out, size);
    WirePutLe32(&w, seconds);
    return Written(w);
}

bool HeartbeatHeadRead(const uint8_t *head, size_t headLen, uint32_t *seconds)
{
    WireReader r = WireRead(head, headLen);
    *seconds = WireGetLe32(&r);
    return !r.failed;
}

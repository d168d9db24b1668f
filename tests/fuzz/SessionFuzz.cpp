// Any bytes as each head block and record of registration, login and heartbeat: what is accepted is the same when
// written again, except bytes that are constant or not used.
#include <cstring>
#include <vector>

#include "FuzzOs.h"
#include "platform/SessionFrames.h"

typedef std::vector<uint8_t> Bytes;

// Compares `size` bytes at `offset` of what was read and what was written.
static void Same(const Bytes &again, const uint8_t *data, size_t offset, size_t size)
{
    REQUIRE(offset + size <= again.size());
    REQUIRE(memcmp(again.data() + offset, data + offset, size) == 0);
}

static void Acknowledgements(const uint8_t *data, size_t size)
{
    RegisterAck ack;
    REQUIRE(RegisterAckRead(data, size, &ack) == (size >= kRegisterAckSize));
    if (size >= kRegisterAckSize) {
        Bytes again(kRegisterAckSize);
        REQUIRE(RegisterAckWrite(ack, again.data(), again.size()) == kRegisterAckSize);
        Same(again, data, 2, kRegisterAckSize - 2);
        REQUIRE(RegisterAckWrite(ack, again.data(), again.size() - 1) == 0);
    }
    int16_t interval;
    REQUIRE(LoginAckRead(data, size, &interval) == (size >= kLoginAckSize));
    if (size >= kLoginAckSize) {
        Bytes again(kLoginAckSize);
        REQUIRE(LoginAckWrite(interval, again.data(), again.size()) == kLoginAckSize);
        Same(again, data, 2, 2);
    }
    uint32_t seconds;
    REQUIRE(HeartbeatHeadRead(data, size, &seconds) == (size >= kHeartbeatHeadSize));
    if (size >= kHeartbeatHeadSize) {
        Bytes again(kHeartbeatHeadSize);
        REQUIRE(HeartbeatHeadWrite(seconds, again.data(), again.size()) == kHeartbeatHeadSize);
        Same(again, data, 0, kHeartbeatHeadSize);
    }
}

static void Requests(const uint8_t *head, size_t headLen, const uint8_t *record, size_t recordLen)
{
    RegisterRequest request;
    if (RegisterRequestRead(head, headLen, record, recordLen, &request)) {
        Bytes headAgain(kRegisterHeadSize), recordAgain(request.serialLen + 41);
        REQUIRE(request.serialLen <= kMaxSerial && recordLen >= recordAgain.size());
        REQUIRE(RegisterHeadWrite(request, headAgain.data(), headAgain.size()) == headAgain.size());
        Same(headAgain, head, 3, kPinHeadSize);
        REQUIRE(RegisterRecordWrite(request, recordAgain.data(), recordAgain.size()) == recordAgain.size());
        Same(recordAgain, record, 2, 1 + request.serialLen + 6);
        REQUIRE(RegisterRecordWrite(request, recordAgain.data(), recordAgain.size() - 1) == 0);
    }
    LoginRequest login;
    if (LoginRequestRead(head, headLen, record, recordLen, &login)) {
        Bytes headAgain(kLoginHeadSize), recordAgain(kLoginRecordSize);
        REQUIRE(LoginHeadWrite(login, headAgain.data(), headAgain.size()) == headAgain.size());
        Same(headAgain, head, 0, kLoginHeadSize);
        REQUIRE(LoginRecordWrite(login, recordAgain.data(), recordAgain.size()) == recordAgain.size());
        Same(recordAgain, record, 19, 4);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Acknowledgements(data, size);
    FuzzInput input = {data, size};
    size_t headLen = input.Byte();
    const uint8_t *head = input.Bytes(&headLen);
    Requests(head, headLen, input.data, input.left);

    uint8_t pin[kPinHeadSize];
    const std::string text(reinterpret_cast<const char *>(data), size);
    PinField(text.c_str(), pin);
    const size_t used = strnlen(text.c_str(), kPinHeadSize);
    REQUIRE(memcmp(pin, text.c_str(), used) == 0);
    for (size_t i = used; i < kPinHeadSize; i++) REQUIRE(pin[i] == 0);
    return 0;
}

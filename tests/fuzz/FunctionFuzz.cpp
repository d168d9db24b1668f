// Any payload as a function request, with a router that returns anything: the reply fits its buffer, echoes tag and ID
// and has the length of its row; its status is the router's; data of failed calls is zero; texts and records reach the
// router terminated inside their fields; the device table is only used under its lock.
//
// Input: the router's script (16-bit length in front), then the request. For each call the script has
//   how      bit 0: it fails; bit 1: it fills its buffers all the same
//   result   16 bits, only when it fails
//   figure   16 bits, of which numbers, switches and counts are made; counts may be larger than the room
//   length   of a text in bytes; it fills its field without a terminator when it is longer
// After its end everything succeeds and is zero or empty.
#include <cerrno>
#include <cstring>

#include "FuzzOs.h"
#include "core/Common.h"
#include "functions/FunctionList.h"
#include "functions/ProtoolSdk.h"
#include "subdev/SubdevMutex.h"
#include "tests/fakes/RecordingSdk.h"

static const size_t kGuard = 64;
static const uint8_t kGuardByte = 0xA5;
static const uint8_t kRecordByte = 0xEE; // every byte of the router's records
static const size_t kHeader = 6;

// ---- The router ----

static FuzzInput s_script;
static size_t s_calls;
static int s_firstFailure;
static int s_nameResult;

static bool StartsWith(const std::string &text, const char *start)
{
    return text.compare(0, strlen(start), start) == 0;
}

static bool OfDeviceTable(const std::string &name)
{
    return name.find("_dev") != std::string::npos;
}

// The text between the quotes of a recorded call, up to its end.
static size_t TextLength(const std::string &call)
{
    const size_t quote = call.find('"');
    return quote == std::string::npos ? 0 : call.size() - quote - 3;
}

static void CheckArguments(const std::string &name, const std::string &call)
{
    const bool account = StartsWith(name, "set_") &&
                         (name.find("_user") != std::string::npos || name.find("_password") != std::string::npos);
    REQUIRE(!account || TextLength(call) <= 16);
    REQUIRE(TextLength(call) < kFunctionRequestSize - kFunctionRequestMin);
}

static void AnswerByScript(const std::string &name)
{
    CheckArguments(name, gSdk.calls.back());
    REQUIRE(pthread_mutex_trylock(&SubdevMutex) == (OfDeviceTable(name) ? EBUSY : 0));
    if (!OfDeviceTable(name)) pthread_mutex_unlock(&SubdevMutex);

    const uint8_t how = s_script.Byte();
    gSdk.result = how & 1 ? static_cast<int>(s_script.Word()) * 257 : 0;
    gSdk.careless = how & 2;
    gSdk.numbers[name] = s_script.Word() * uint64_t{0x0001000100010001};
    gSdk.texts[name] = std::string(s_script.Byte(), 'T');
    s_calls++;
    if (s_firstFailure == 0) s_firstFailure = gSdk.result;
    if (name == "get_name") s_nameResult = gSdk.result;
}

template <typename Record>
static Record FilledRecord()
{
    Record record;
    memset(&record, kRecordByte, sizeof record);
    return record;
}

static void ResetRouter(const uint8_t *script, size_t size)
{
    s_script = {script, size};
    s_calls = 0;
    s_firstFailure = s_nameResult = 0;
    RecordingSdkReset();
    gSdk.onCall = AnswerByScript;
    gSdk.version = FilledRecord<RouterVersion>();
    gSdk.cpu = FilledRecord<CpuCfg>();
    gSdk.memory = FilledRecord<MemCfg>();
    gSdk.lan = FilledRecord<LanCfg>();
    gSdk.wan = FilledRecord<WanCfg>();
    gSdk.ssid = FilledRecord<SsidCfg>();
    gSdk.device = FilledRecord<DevCfg>();
    gSdk.dns[0] = gSdk.dns[1] = FilledRecord<uint32_t>();
    gSdk.lanStatus.assign(16, kRecordByte);
    gSdk.wanStatus.assign(16, kRecordByte);
    gSdk.wans.assign(ROUTER_SDK_WANS, gSdk.wan);
    gSdk.ssids.assign(ROUTER_SDK_SSIDS, gSdk.ssid);
    gSdk.devices.assign(ROUTER_SDK_DEVICES, gSdk.device);
    gSdk.neighbours.assign(ROUTER_SDK_ADJ_WIFI, FilledRecord<AdjWifi>());
    gSdk.blackList.assign(ROUTER_SDK_BLACK_LIST, FilledRecord<std::array<uint8_t, 6>>());
}

// ---- Rules ----

struct Row {
    FunctionStatus status;
    int length;
};
#define ROW(id, name, handler, status, length) {STATUS_##status, length},
static const Row kRows[] = {FUNCTION_LIST(ROW)};
#undef ROW

static bool AllAre(const uint8_t *bytes, size_t size, uint8_t value)
{
    for (size_t i = 0; i < size; i++)
        if (bytes[i] != value) return false;
    return true;
}

static bool RecordsOf(size_t dataLength, size_t size, size_t most)
{
    return dataLength % size == 0 && dataLength / size <= most;
}

// Whether the lists of this function can have `length` bytes of data behind the header.
static bool VaryingLengthHolds(int id, const uint8_t *data, size_t length)
{
    const size_t count = length < 2 ? 0 : data[0] + 256u * data[1];
    switch (id) {
    case 4: return RecordsOf(length, sizeof(WanCfg), ROUTER_SDK_WANS);
    case 12: return length == 2 + 16 * count && count <= ROUTER_SDK_LAN_PORTS;
    case 13: return RecordsOf(length, sizeof(SsidCfg), ROUTER_SDK_SSIDS);
    case 39: return length == 2 + sizeof(DevCfg) * count && count <= 128;
    case 42: return RecordsOf(length, sizeof(AdjWifi), ROUTER_SDK_ADJ_WIFI);
    case 43: return RecordsOf(length, 6, ROUTER_SDK_BLACK_LIST);
    case 49: {
        if (length < 4 || count > 16 || length < 4 + count) return false;
        const size_t wans = data[2 + count] + 256u * data[3 + count];
        return wans <= 16 && length == 2 + count + 2 + wans + ROUTER_SDK_WIFI_MODULES;
    }
    case 79: return length <= 30 * 77;
    default: return true; // texts of diagnostics and of the local peer
    }
}

// Functions whose status is not the router's first failure.
static bool StatusIsItsOwn(int id)
{
    return id == 8 || id == 33 || id == 36 || id == 39 || id == 51 || id == 69;
}

static void CheckKnown(int id, const uint8_t *reply, int replyLen)
{
    const Row &row = kRows[id];
    const uint16_t status = static_cast<uint16_t>(reply[4] | reply[5] << 8);
    if (row.status == STATUS_NONE) {
        REQUIRE(replyLen == 0 && s_calls == 0);
        return;
    }
    REQUIRE(replyLen >= static_cast<int>(kHeader));
    const size_t dataLength = static_cast<size_t>(replyLen) - kHeader;
    // If the agent itself or the local peer fails, the data may be missing.
    const bool leftOut = row.status == STATUS_PROTOCOL && status != 0 && dataLength == 0;
    if (row.length != VARIES)
        REQUIRE(replyLen == row.length || leftOut);
    else
        REQUIRE(VaryingLengthHolds(id, reply + kHeader, dataLength) || leftOut);
    if (row.status == STATUS_ZERO || id == 33 || id == 36 || id == 39) REQUIRE(status == 0);
    if (row.status == STATUS_HOST && !StatusIsItsOwn(id))
        REQUIRE(status == static_cast<uint16_t>(id == 2 ? s_nameResult : s_firstFailure));
    if (s_calls == 1 && s_firstFailure != 0) REQUIRE(AllAre(reply + kHeader, dataLength, 0));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static uint8_t request[kFunctionRequestSize + kGuard];
    static uint8_t reply[kFunctionReplySize + kGuard];
    FuzzOsReset();
    g_world.noThreads = true; // diagnostics would wait for their threads
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    size_t scriptLen = input.Word();
    const uint8_t *script = input.Bytes(&scriptLen);
    ResetRouter(script, scriptLen);
    const uint8_t *sent = input.data;
    if (input.left < kFunctionRequestMin || input.left >= kFunctionRequestSize) return 0; // refused before

    memset(request, 0, kFunctionRequestSize);
    memcpy(request, sent, input.left);
    memset(request + kFunctionRequestSize, kGuardByte, kGuard);
    memset(reply, 0, kFunctionReplySize);
    memset(reply + kFunctionReplySize, kGuardByte, kGuard);
    int replyLen = -1;
    const int result = ParserProtoolData(request, reply, &replyLen);

    const int id = sent[2] | sent[3] << 8;
    REQUIRE(AllAre(request + kFunctionRequestSize, kGuard, kGuardByte));
    REQUIRE(AllAre(reply + kFunctionReplySize, kGuard, kGuardByte));
    REQUIRE(replyLen >= 0 && replyLen <= static_cast<int>(kFunctionReplySize));
    REQUIRE(AllAre(reply + replyLen, kFunctionReplySize - static_cast<size_t>(replyLen), 0));
    REQUIRE(replyLen == 0 || memcmp(reply, sent, 4) == 0);
    REQUIRE(pthread_mutex_trylock(&SubdevMutex) == 0 && pthread_mutex_unlock(&SubdevMutex) == 0);
    if (id < kFunctionCount && kRows[id].status != STATUS_UNKNOWN) {
        REQUIRE(result == 0);
        CheckKnown(id, reply, replyLen);
        return 0;
    }
    const bool answered = id >= 1 && id < 0x7FFF;
    REQUIRE(result == -1 && s_calls == 0);
    REQUIRE(replyLen == (answered ? 6 : 0));
    REQUIRE(!answered || (reply[4] == 7 && reply[5] == 0));
    return 0;
}

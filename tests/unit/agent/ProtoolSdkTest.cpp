#include <cstring>

#include "core/Common.h"
#include "functions/FunctionList.h"
#include "platform/Protool.h"
#include "tests/unit/agent/FunctionTest.h"

typedef FunctionTest ProtoolSdkTest;

// Whether the function list has no handler at this ID.
static bool NoHandler(unsigned id)
{
#define FUNCTION_HANDLER(number, name, handler, status, length) #handler,
    static const char *const kHandlers[] = {FUNCTION_LIST(FUNCTION_HANDLER)};
#undef FUNCTION_HANDLER
    return id >= kFunctionCount || strcmp(kHandlers[id], "Unsupported") == 0;
}

TEST_F(ProtoolSdkTest, WhetherAnUnknownIdIsAnsweredDependsOnItsSignOnly)
{
    d_set_log_level(LOG_LEVEL_NONE);
    unsigned answered = 0;
    for (unsigned id = 0; id <= 0xFFFF; id++) {
        if (!NoHandler(id)) continue;
        const Bytes reply = Reply(static_cast<uint16_t>(id), {}, -1);
        const Bytes unsupported = {0xA5, 0x5A, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8), 7, 0};
        ASSERT_EQ(id >= 1 && id <= 32766 ? unsupported : Bytes(), reply) << id;
        answered += !reply.empty();
    }
    EXPECT_GE(answered, 32766u - 88u);
    EXPECT_TRUE(gSdk.calls.empty());
}

TEST_F(ProtoolSdkTest, ReservedSlotsOfTheTableAreUnknown)
{
    for (unsigned id : {0u, 62u, 63u, 65u, 67u, 68u}) EXPECT_TRUE(NoHandler(id)) << id;
    EXPECT_EQ(Hex("A5 5A 3E 00 07 00"), Reply(62, {}, -1));
    EXPECT_EQ(Hex("A5 5A 44 00 07 00"), Reply(68, {}, -1));
    EXPECT_EQ(Bytes(), Reply(0, {}, -1));
}

TEST_F(ProtoolSdkTest, TheFirstAndLastUnknownIds)
{
    EXPECT_EQ(Hex("A5 5A 59 00 07 00"), Reply(89, {}, -1));
    EXPECT_EQ(Hex("A5 5A FE 7F 07 00"), Reply(32766, {}, -1));
    EXPECT_EQ(Bytes(), Reply(32767, {}, -1));
    EXPECT_EQ(Bytes(), Reply(32768, {}, -1));
    EXPECT_EQ(Bytes(), Reply(65535, {}, -1));
}

TEST_F(ProtoolSdkTest, LogsTheFunctionIdAtDebugLevelOnly)
{
    Reply(300, {}, -1);
    EXPECT_NE(std::string::npos, Log().find("ParserProtoolData funcid 300\n"));
    d_set_log_level(LOG_LEVEL_ALL & ~LOG_LEVEL_DEBUG);
    Reply(300, {}, -1);
    EXPECT_EQ("", Log());
}

TEST_F(ProtoolSdkTest, RouterVersionIsSeventyBytes)
{
    strcpy(gSdk.version.text, "V1.2.3");
    const int8_t date[] = {20, 23, 11, 5};
    memcpy(gSdk.version.date, date, 4);
    const Bytes reply = Reply(1);
    ASSERT_EQ(70u, reply.size());
    EXPECT_EQ(Hex("A5 5A 01 00 00 00") + Text("V1.2.3") + Bytes(54, 0) + Hex("14 17 0B 05"), reply);
    EXPECT_EQ(std::vector<std::string>({"get_router_version"}), gSdk.calls);
}

TEST_F(ProtoolSdkTest, AVersionThatCannotBeReadIsAnsweredWithTheResultAndZeros)
{
    strcpy(gSdk.version.text, "V1.2.3");
    gSdk.result = -2;
    EXPECT_EQ(Hex("A5 5A 01 00 FE FF") + Bytes(64, 0), Reply(1));
}

TEST_F(ProtoolSdkTest, TheStatusIsTheLow16BitsOfTheResultLittleEndian)
{
    gSdk.result = 0x00051234;
    EXPECT_EQ(Hex("A5 5A 01 00 34 12") + Bytes(64, 0), Reply(1));
}

TEST_F(ProtoolSdkTest, IdentityIsThreeHundredAndOneBytes)
{
    const Bytes mac = Hex("02 11 22 33 44 55");
    memcpy(gRoutemac, mac.data(), 6);
    strcpy(gSdk.cpu.model, "MIPS 24Kc");
    gSdk.cpu.mhz = 580;
    gSdk.cpu.cores = 2;
    gSdk.memory.kilobytes = 131072;
    strcpy(gSdk.memory.type, "DDR3");
    const Bytes reply = Reply(2);
    ASSERT_EQ(301u, reply.size());
    const Bytes expected = Hex("A5 5A 02 00 00 00") + mac                 // 0-11
                           + Field("SN-0001", 64)                         // 12
                           + Field("Vendor", 64)                          // 76
                           + Field("Model", 64)                           // 140
                           + Field("MIPS 24Kc", 40) + Hex("44 02 02")     // 204, clock rate at 244
                           + Hex("00 00 02 00") + Field("DDR3", 16)       // 247
                           + Hex("01") + Field("router", 32) + Hex("01"); // 267, 268, 300
    EXPECT_EQ(expected, reply);
    EXPECT_EQ(std::vector<std::string>({"get_router_sn", "get_router_vender", "get_router_model", "get_cpu_cfg",
                                        "get_mem_cfg", "get_name", "get_router_is_plug", "get_router_support_ipv6"}),
              gSdk.calls);
}

TEST_F(ProtoolSdkTest, IdentityCarriesTheResultOfGetNameAlone)
{
    gSdk.result = -1;
    gSdk.results["get_name"] = 0;
    const Bytes reply = Reply(2);
    ASSERT_EQ(301u, reply.size());
    EXPECT_EQ(Hex("00 00"), Bytes(reply.begin() + 4, reply.begin() + 6));
    EXPECT_EQ(Bytes(267 - 12, 0), Bytes(reply.begin() + 12, reply.begin() + 267)); // what failed is zero
    EXPECT_EQ(Field("router", 32), Bytes(reply.begin() + 268, reply.begin() + 300));
}

TEST_F(ProtoolSdkTest, IdentityWithAFailedNameIsCompleteButForTheName)
{
    gSdk.results["get_name"] = -3;
    gSdk.numbers.clear(); // neither flag is set
    const Bytes reply = Reply(2);
    ASSERT_EQ(301u, reply.size());
    EXPECT_EQ(Hex("FD FF"), Bytes(reply.begin() + 4, reply.begin() + 6));
    EXPECT_EQ(Field("SN-0001", 64), Bytes(reply.begin() + 12, reply.begin() + 76));
    EXPECT_EQ(Bytes(34, 0), Bytes(reply.begin() + 267, reply.end()));
}

TEST_F(ProtoolSdkTest, TextsThatFillTheirFieldsNeedNoTerminator)
{
    gSdk.serial = std::string(80, 'S');
    gSdk.texts["get_router_vender"] = std::string(64, 'V');
    gSdk.texts["get_router_model"] = std::string(64, 'M');
    gSdk.texts["get_name"] = std::string(40, 'N');
    const Bytes reply = Reply(2);
    ASSERT_EQ(301u, reply.size());
    EXPECT_EQ(Bytes(64, 'S') + Bytes(64, 'V') + Bytes(64, 'M'), Bytes(reply.begin() + 12, reply.begin() + 204));
    EXPECT_EQ(Bytes(32, 'N'), Bytes(reply.begin() + 268, reply.begin() + 300));
    EXPECT_EQ(1, reply[300]);
}

#include "simulator/console/Journal.h"
#include "protocol/Decoder.h"
#include "tests/support/Frames.h"

using namespace sim;

TEST(Journal, CountsErrorsAndShowsThemWhenQuiet)
{
    std::string out;
    Journal journal({true, false, true}, [&](const std::string &text) { out += text; });
    journal.Emit("register", {});
    EXPECT_EQ("", out);
    journal.Emit("bad-checksum", {NumberField("conn", 1)});
    journal.Emit("bad-frame", {});
    EXPECT_EQ(2u, journal.Faults());
    EXPECT_EQ(0u, out.find("{\"event\":\"bad-checksum\",\"t\":"));
}

TEST(Journal, ShowsAWrongChecksumToPeople)
{
    ParsedFrame frame = FromAgent("cc dd 21 04 aa 00 00 00 f1 53 65");
    const Event event = {"heartbeat",
                         {TextField("type", "heartbeat"), NumberField("msgtype", 1), NumberField("head_length", 4),
                          NumberField("body_length", 0), NumberField("checksum", 0xAA),
                          FlagField("checksum_ok", frame.checksumOk),
                          NumberField("checksum_expected", frame.checksumExpected)}};
    const std::string text = RenderEvent(event, 0, {});
    EXPECT_NE(std::string::npos, text.find("CHECKSUM 170 INSTEAD OF 169")) << text;
}

TEST(Journal, ShowsWhatAStatusMeans)
{
    // Function 69, status 5.
    OutFrame reply;
    reply.msgType = MSG_ACK_MAC;
    reply.head = {0, 0};
    reply.hasPlain = true;
    reply.plain = InnerRecordBytes(69, Hex("021122334455"), Hex("0100 4500 0500"));
    ParsedFrame frame = ParseFrame(EncodeFrame(reply, kKey), kKey, true);
    const Fields fields = DescribeFrame(&frame, STEP_COMMAND);
    const std::string shown = RenderEvent({"reply", fields}, 0, {});
    EXPECT_NE(std::string::npos, shown.find("function 69 set-surf-rules, status 5, ")) << shown;
    EXPECT_NE(std::string::npos, shown.find("meaning  an item lacks DAY\n")) << shown;
    JournalStyle json;
    json.json = true;
    EXPECT_NE(std::string::npos, RenderEvent({"reply", fields}, 0, json).find("\"meaning\":\"an item lacks DAY\""));
}

TEST(Journal, ShowsTheStatusOfAFailedReplyAndNoRecordOfZeros)
{
    const auto shown = [](const std::string &record, bool full) {
        OutFrame reply;
        reply.msgType = MSG_ACK_MAC;
        reply.head = {0, 0};
        reply.hasPlain = true;
        reply.plain = InnerRecordBytes(22, Hex("021122334455"), Hex("0100 1600" + record));
        ParsedFrame frame = ParseFrame(EncodeFrame(reply, kKey), kKey, true);
        JournalStyle style;
        style.full = full;
        return RenderEvent({"reply", DescribeFrame(&frame, STEP_COMMAND)}, 0, style);
    };
    const std::string failed = shown("ffff 00", false);
    EXPECT_NE(std::string::npos, failed.find("status -1")) << failed;
    EXPECT_EQ(std::string::npos, failed.find("switch")) << failed;
    EXPECT_NE(std::string::npos, shown("ffff 00", true).find("switch  off"));
    EXPECT_NE(std::string::npos, shown("ffff 01", false).find("switch  on")) << "that is no record of zeros";
    EXPECT_NE(std::string::npos, shown("0000 00", false).find("switch  off")) << "that has not failed";
}

TEST(Journal, LeavesTheDevicesOfAReportToTheTable)
{
    const Field device = ObjectField("", {TextField("ip", "192.168.1.11"), TextField("name", "office-pc")});
    Field devices = ListField("devices", {});
    devices.children = {device, device};
    const Fields fields = {NumberField("msgtype", 17), ObjectField("fields", {devices})};
    JournalStyle style;
    std::string shown = RenderEvent({"upload", fields}, 0, style);
    EXPECT_NE(std::string::npos, shown.find("devices  2; --hex shows them in full\n")) << shown;
    EXPECT_EQ(std::string::npos, shown.find("office-pc")) << shown;
    style.full = true;
    EXPECT_NE(std::string::npos, RenderEvent({"upload", fields}, 0, style).find("office-pc"));
    // A function's reply has no table.
    Fields reply = fields;
    reply.push_back(NumberField("function", 43));
    style.full = false;
    EXPECT_NE(std::string::npos, RenderEvent({"reply", reply}, 0, style).find("office-pc"));
}

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

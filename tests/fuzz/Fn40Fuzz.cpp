// Messages of the local peer with cycles in between: the filter table has what a simple walk over the messages finds,
// and nothing else.
//
// Input: pairs of a 16-bit length and as many bytes of a message; length 0xFFFF is a cycle of the report thread.
#include <cstring>
#include <set>
#include <vector>

#include "FuzzOs.h"
#include "core/Common.h"
#include "platform/Protool.h"
#include "platform/Settings.h"
#include "subdev/Function40.h"

typedef std::vector<uint8_t> Bytes;

static const uint16_t kCycle = 0xFFFF;

// The MACs in a message.
static std::vector<Bytes> Walk(const Bytes &message)
{
    std::vector<Bytes> macs;
    if (message.size() < 39 || message.size() > 5128) return macs;
    const size_t count = message[0] + message[1] * 256u;
    if (count > 128) return macs;
    for (size_t i = 0; i < count; i++) {
        const size_t at = 2 + 39 * i;
        if (at + 39 > message.size() || message[at + 38] != 1) break; // entries behind one that is offline are ignored
        macs.emplace_back(message.begin() + static_cast<ptrdiff_t>(at),
                          message.begin() + static_cast<ptrdiff_t>(at) + 6);
    }
    return macs;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    mLogin = 0; // nobody to report to
    Fn40Interval = 2;
    AutoReportDevinfo = 1;
    REQUIRE(Fn40Init() == 0);

    std::set<Bytes> known;
    std::set<Bytes> seen;
    int cycles = 0;
    FuzzInput input = {data, size};
    while (input.left >= 2) {
        size_t length = input.Word();
        if (length == kCycle) {
            Fn40Cycle();
            if (cycles < 2) {
                cycles++;
            } else {
                cycles = 1;
                known.clear();
            }
            continue;
        }
        const uint8_t *at = input.Bytes(&length);
        const Bytes message(at, at + length); // of exactly this size, so that sanitizers see a read past it
        Fn40Handle(message.data(), message.size());
        for (const Bytes &mac : Walk(message)) {
            const bool none = mac == Bytes(6, 0) || mac == Bytes(6, 0xFF);
            if (!none && known.size() < kMaxFn40Devices) known.insert(mac);
            if (!none) seen.insert(mac);
        }
    }
    for (const Bytes &mac : seen) REQUIRE(Fn40Knows(mac.data()) == (known.count(mac) == 1));
    Fn40Stop();
    return 0;
}

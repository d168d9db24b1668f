// Any file of the known devices: the loaded devices are those of a simple search of its first 128 lines, and writing
// and loading again changes nothing.
//
// Input: the file.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>

#include "FuzzOs.h"
#include "core/Common.h"
#include "platform/Protool.h"
#include "subdev/KnownDevices.h"

// The file with its accepted lines only. Text behind 128 lines of 31 characters is ignored.
static std::string Taken(std::string content)
{
    content = content.substr(0, 128 * 32);
    std::string taken;
    size_t at = 0;
    for (int lines = 0; lines < 128 && at < content.size(); lines++) {
        const size_t end = std::min(content.find('\n', at), content.size());
        std::string line = content.substr(at, end - at);
        at = end + 1;
        line = line.substr(0, line.find('\0'));
        if (line.size() == 13 && line.back() == '\r') line.pop_back();
        if (line.size() != 12 || line.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) continue;
        for (const char c : line) taken += static_cast<char>(c >= 'A' && c <= 'F' ? c + 'a' - 'A' : c);
        taken += "\r\n";
    }
    return taken;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    mLogin = 1;
    const std::string content(reinterpret_cast<const char *>(data), size);
    g_world.configFile = content;
    const std::string taken = Taken(content);

    KnownClear();
    REQUIRE(Fn39LoadMac() == 0);
    REQUIRE(f39Num == static_cast<int32_t>(taken.size() / 14));
    REQUIRE(Fn39UpdateMac() == 0);
    REQUIRE(g_world.knownDevices == taken);

    g_world.configFile = g_world.knownDevices;
    KnownClear();
    REQUIRE(Fn39LoadMac() == 0 && Fn39UpdateMac() == 0);
    REQUIRE(g_world.knownDevices == taken);
    return 0;
}

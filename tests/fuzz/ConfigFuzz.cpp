// Any content of plug.conf and any section and key: the value is terminated inside its buffer, occurs in the file, and
// is never read from a file that does not have it.
//
// Input: buffer size for the value, options, section NUL key NUL content. Options: bit 0 a default is given, bit 1 the
// file is missing.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "FuzzOs.h"
#include "core/Common.h"
#include "core/Config.h"

static const char kDefault[] = "a default text";
static const size_t kGuard = 16;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    const size_t capacity = 1 + input.Byte();
    const uint8_t options = input.Byte();
    const char *defaultText = options & 1 ? kDefault : nullptr;
    g_world.configMissing = options & 2;
    const std::string section = input.Text();
    const std::string key = input.Text();
    const std::string content(reinterpret_cast<const char *>(input.data), input.left);
    g_world.configFile = content;

    ClearOptions();
    NewProgramProfile("default.conf");
    std::vector<char> room(capacity + kGuard, '\xA5');
    const int result = getKeyValueStr(section.c_str(), key.c_str(), defaultText, room.data(), capacity);
    DeleteProgramProfile();

    const size_t length = strnlen(room.data(), capacity);
    REQUIRE(length < capacity);
    for (size_t i = capacity; i < room.size(); i++) REQUIRE(room[i] == '\xA5');
    const std::string value(room.data(), length);
    const std::string cutDefault = std::string(kDefault).substr(0, capacity - 1);

    if (g_world.configMissing) {
        REQUIRE(result == -1);
        REQUIRE(value == (defaultText ? cutDefault : ""));
        return 0;
    }
    REQUIRE(result == 0 || (result == -1 && !defaultText && value.empty()));
    const bool possible = content.find(section) != std::string::npos && content.find(key) != std::string::npos &&
                          content.find('[') != std::string::npos && content.find('=') != std::string::npos;
    if (!possible) REQUIRE(value == (defaultText ? cutDefault : ""));
    if (defaultText && value == cutDefault) return 0;
    if (result == 0) REQUIRE(content.find(value) != std::string::npos);
    REQUIRE(value.find('\n') == std::string::npos);
    REQUIRE(value.empty() || value[0] != ' ');
    // The end is trimmed before the buffer truncates.
    if (length + 1 < capacity && length > 0) REQUIRE(!strchr("\r\n\t ", value[length - 1]));
    return 0;
}

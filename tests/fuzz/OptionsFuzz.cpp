// Any words as the command line: each option is accepted or refused by the rules of docs/man/plug.8, and nothing is
// written past its buffer.
//
// Input: the words, a NUL behind each.
#include <cstring>
#include <string>
#include <vector>

#include "FuzzOs.h"
#include "core/Common.h"
#include "core/Config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    std::vector<std::string> words = {"plug"};
    while (input.left > 0) words.push_back(input.Text());
    std::vector<char *> arguments;
    for (std::string &word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);

    ClearOptions();
    const int result = config_line_proc(static_cast<int>(words.size()), arguments.data());
    REQUIRE(result == 0 || result == -1 || result == -2);
    REQUIRE(strnlen(l_config_file, sizeof l_config_file) < sizeof l_config_file);
    REQUIRE(l_debug == 0 || l_debug == 1);
    if (l_config_file[0] == '\0') return 0;
    bool given = false;
    for (const std::string &word : words) given = given || word.find(l_config_file) != std::string::npos;
    REQUIRE(given);
    return 0;
}

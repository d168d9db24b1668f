// Any URL of a rate test: an accepted one keeps every limit and has the parts of the URL; a refused one lacks a part or
// breaks a limit. Also any text as the configuration with a URL.
//
// Input: the URL up to a NUL; then the configuration text.
#include <cstdlib>
#include <cstring>
#include <string>

#include "FuzzOs.h"
#include "core/Common.h"
#include "functions/RateTest.h"

// Whether the rules allow this URL, computed in another way: from the slash that begins the path.
static bool Allowed(const std::string &url)
{
    const size_t mark = url.find("://");
    if (mark == std::string::npos) return false;
    const size_t slash = url.find('/', mark + 3);
    if (slash == std::string::npos || url.size() - slash > kMaxConfigText) return false;
    const std::string authority = url.substr(mark + 3, slash - mark - 3);
    const size_t colon = authority.find(':');
    const std::string host = authority.substr(0, colon);
    if (host.size() < 3 || host.size() > 64) return false;
    return colon == std::string::npos || authority.size() - colon - 1 <= 7;
}

// The port behind the host of an allowed URL: 0 if it is invalid.
static int PortBehind(const std::string &url, size_t hostEnd)
{
    if (url[hostEnd] == '/') return 80;
    const std::string port = url.substr(hostEnd + 1, url.find('/', hostEnd) - hostEnd - 1);
    if (port.empty() || port.find_first_not_of("0123456789") != std::string::npos) return 0;
    return atoi(port.c_str()) <= 65535 ? atoi(port.c_str()) : 0;
}

static void CheckUrl(const std::string &url)
{
    RateTarget target;
    memset(&target, 0xA5, sizeof target);
    const bool accepted = SplitRateUrl(url.c_str(), &target);
    REQUIRE(accepted == Allowed(url));
    if (!accepted) return;
    const std::string host(target.host, strnlen(target.host, sizeof target.host));
    const std::string path(target.path, strnlen(target.path, sizeof target.path));
    REQUIRE(host.size() >= 3 && host.size() <= 64 && host.find('/') == std::string::npos);
    REQUIRE(!path.empty() && path[0] == '/');
    REQUIRE(target.port == PortBehind(url, url.find("://") + 3 + host.size()));
    // The result lacks only the scheme and the port of the URL.
    REQUIRE(url.size() >= 3 + host.size() + path.size());
    REQUIRE(url.compare(url.size() - path.size(), path.size(), path) == 0);
    REQUIRE(url.find("://" + host + (url.find("://" + host + ":") == url.find("://") ? ":" : "/")) == url.find("://"));
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzOsReset();
    d_set_log_level(LOG_LEVEL_NONE);
    FuzzInput input = {data, size};
    CheckUrl(input.Text());

    g_world.noThreads = true; // no test is run
    const std::string text(reinterpret_cast<const char *>(input.data), input.left);
    const int result = ParseConfigData(text.c_str(), static_cast<int>(text.size()));
    REQUIRE(result == 0 || result == 1);
    if (text.size() < 2 || text.size() > kMaxConfigText) REQUIRE(result == 1);
    REQUIRE(gRateThreadState == 0 && rateRes == 0);
    return 0;
}

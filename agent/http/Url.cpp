#include "http/Url.h"

#include <cstring>

bool SplitUrl(const char *url, UrlParts *parts)
{
    const char *scheme = strstr(url, "://");
    if (!scheme) return false;
    parts->host = scheme + 3;
    parts->path = strchr(parts->host, '/');
    if (!parts->path) return false;
    const size_t length = static_cast<size_t>(parts->path - parts->host);
    const char *colon = static_cast<const char *>(memchr(parts->host, ':', length));
    parts->hostLength = colon ? static_cast<size_t>(colon - parts->host) : length;
    parts->port = colon ? colon + 1 : nullptr;
    parts->portLength = colon ? length - parts->hostLength - 1 : 0;
    return true;
}

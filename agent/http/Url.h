// Url.h - taking a URL apart: scheme "://" host [":" port] "/" path.
// State: none. Threads: any.
#pragma once

#include <cstddef>

// Where the parts stand in the text of the URL.
struct UrlParts {
    const char *host;
    size_t hostLength;
    const char *port; // nullptr when none is given
    size_t portLength;
    const char *path; // from its slash to the end of the text
};

// Returns false when there is no "://" or no slash behind the host. The first slash there ends host and port, so a
// colon behind it belongs to the path. What a host or a port may be is the caller's to say.
[[nodiscard]] bool SplitUrl(const char *url, UrlParts *parts);

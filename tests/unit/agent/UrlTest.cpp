// Taking a URL apart.
#include "http/Url.h"

#include <gtest/gtest.h>
#include <string>

namespace
{
// "host|port|path", "-" for no port; "no" for what is no URL.
std::string Parts(const char *url)
{
    UrlParts parts;
    if (!SplitUrl(url, &parts)) return "no";
    return std::string(parts.host, parts.hostLength) + "|" +
           (parts.port ? std::string(parts.port, parts.portLength) : "-") + "|" + parts.path;
}
} // namespace

TEST(Url, IsSplitIntoHostPortAndPath)
{
    EXPECT_EQ("host|8080|/a/b", Parts("http://host:8080/a/b"));
    EXPECT_EQ("host|-|/", Parts("http://host/"));
    EXPECT_EQ("host||/x", Parts("http://host:/x"));
    EXPECT_EQ("|-|/x", Parts("http:///x"));
    EXPECT_EQ("|80|/x", Parts("://:80/x"));
}

TEST(Url, AColonAfterTheFirstSlashBelongsToThePath)
{
    EXPECT_EQ("host|-|/a:1/b", Parts("http://host/a:1/b"));
    EXPECT_EQ("host|80|/a:1", Parts("http://host:80/a:1"));
}

TEST(Url, TheFirstColonBeginsThePort)
{
    EXPECT_EQ("a|b:c|/", Parts("http://a:b:c/"));
}

TEST(Url, ATextWithoutSchemeOrPathIsRefused)
{
    for (const char *url : {"", "host/", "http:/host/", "http//host/", "http://", "http://host", "http://host:80"})
        EXPECT_EQ("no", Parts(url)) << url;
}

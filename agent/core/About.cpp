#include "core/About.h"

#include <cjson/cJSON.h>
#include <cstdio>
#include <cstring>
#include <openssl/crypto.h>

#include "core/Version.h"
#include "os/OsLibraries.h"
#include "os/Paths.h"

#if OPENSSL_VERSION_NUMBER < 0x10100000L // routers have old ones
#define OpenSSL_version SSLeay_version
#define OPENSSL_VERSION SSLEAY_VERSION
#endif

// Asking a library that is part of the program would bring in 3 MB of it.
static const char *CryptoVersion()
{
#ifdef PLUG_STATIC_CRYPTO
    return OPENSSL_VERSION_TEXT;
#else
    return OpenSSL_version(OPENSSL_VERSION);
#endif
}

static const char kText[] = //
    "plug %s: ties this router to its operator's device-management platform\n"
    "\n"
    "usage: plug [-d] [-f FILE] [-m MAC]\n"
    "       plug --check [-f FILE]\n"
    "  -d       log to standard error, secrets included\n"
    "  -f FILE  configuration file; without it, or when it cannot be read, %s, then %s\n"
    "  -m MAC   the router's MAC, 12 hexadecimal digits; without it the router is asked\n"
    "files:\n"
    "  %-20s stage, for the supervisor\n"
    "  %-20s socket for the router's management process\n"
    "  %-20s update, to be started when the stage is 004\n"
    "  %-20s devices that have been reported\n"
    "  %s, %s: output of commands\n"
    "manual: man 8 plug\n"
    "runs with: %s, cJSON %s\n";

bool AboutAsked(int argc, char *const argv[])
{
    return argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "--version") == 0);
}

int AboutPrint()
{
    printf(kText, kPluginVersionTagged, kPathDefaultConfig, kPathLocalConfig, kPathPlugStatus, kPathCommServer,
           kPathPlugDownload, kPathMacConfig, kPathSubdev, kPathTraceroute, CryptoVersion(), cJSON_Version());
    OsEachLibrary([](const char *path) { printf("  %s\n", path); });
    return fflush(stdout) == 0 ? 0 : -1;
}

#define LOG_MODULE "ParseJson"
#include "plugin/PlugUpdate.h"

#include <cstdio>
#include <cstring>
#include <openssl/md5.h>
#include <unistd.h>

#include "core/Common.h"
#include "core/PlugStatus.h"
#include "http/Download.h"
#include "os/OsCommand.h"
#include "os/OsFile.h"
#include "os/OsProcess.h"
#include "os/OsWait.h"
#include "os/Paths.h"
#include "platform/Sending.h"
#include "plugin/BuildJson.h"
#include "plugin/PlugDataType.h"
#include "plugin/PlugParameters.h"

static const size_t kBlock = 16 * 1024;
static const size_t kCommandSize = 126;
static const size_t kReportSize = 2048; // the longest texts, each character escaped as six
static const int64_t kReportLeavesMs = 3000;
static const char kFlow[] = "ParserPlugData"; // the procedure name in the update's log lines

// ---- Digest ----

int Compute_file_md5(const char *path, char out[kMd5TextSize])
{
    const int fd = OsOpenOurs(path);
    if (fd < 0) {
        LOG_ERR("fopen");
        return -1;
    }
    MD5_CTX context;
    MD5_Init(&context);
    char block[kBlock];
    ssize_t count;
    // The first short read ends the loop, so that it also ends for a file that keeps growing.
    do {
        count = read(fd, block, sizeof block);
        if (count > 0) MD5_Update(&context, block, static_cast<size_t>(count));
    } while (count == static_cast<ssize_t>(sizeof block));
    close(fd);
    if (count < 0) {
        LOG_ERR("fread");
        return -1;
    }
    uint8_t digest[MD5_DIGEST_LENGTH];
    MD5_Final(digest, &context);
    for (size_t i = 0; i < sizeof digest; i++) snprintf(out + 2 * i, 3, "%02x", digest[i]);
    return 0;
}
static_assert(kMd5TextSize == 2 * MD5_DIGEST_LENGTH + 1, "two digits a byte");

// ---- File ----

int DeleteDownloadFile()
{
    LOG_DEBUG("DeleteDownloadFile");
    char command[kCommandSize];
    if (snprintf(command, sizeof command, "rm -f %s", kPathPlugDownload) >= static_cast<int>(sizeof command)) return -1;
    return OsRun(command);
}

// Compares the file's digest with `expected`; writes the status if they are equal, else removes the file. Stores the
// result of Compute_file_md5() in *computed. Returns whether they are equal.
static bool Verify(const char *expected, const char *function, int *computed)
{
    char digest[kMd5TextSize] = "";
    LOG_AS(LOG_LEVEL_DEBUG, function, "1-----------md5: down :%s", expected);
    // Opening it by name is safe: we created it, nobody else can write it or, in a sticky folder, replace it.
    *computed = Compute_file_md5(kPathPlugDownload, digest);
    LOG_AS(LOG_LEVEL_DEBUG, function, "md5: self:%s===down :%s", digest, expected);
    if (*computed != 0 || strcmp(digest, expected) != 0) {
        DeleteDownloadFile();
        return false;
    }
    LogPlugStatus(PLUG_UPDATE_FETCHED);
    return true;
}

uint32_t DownLoadProc(const char *expected, const char *server, int port, const char *path)
{
    int result = DownLoadFIle(server, port, path, kPathPlugDownload);
    if (result == 0) Verify(expected, __func__, &result);
    return static_cast<uint32_t>(result);
}

// ---- The update ----

static bool FetchAndVerify()
{
    LOG_AS(LOG_LEVEL_DEBUG, kFlow, "plug update url :%s", mDownloadUrl);
    int computed;
    return DownLoadFIle(mDownloadServer, mDownloadPort, mDownloadUrl, kPathPlugDownload) == 0 &&
           Verify(mFileMD5, kFlow, &computed);
}

static void Report(int result)
{
    static char report[kReportSize];
    if (BuildJson(JSON_UPDATE, result, "", nullptr, report, sizeof report) == 0)
        SendIpUpData(report, static_cast<int>(strlen(report)), PLUG_UPDATE_REPORT, 0, nullptr);
}

int PlugUpdate(bool parsed)
{
    LOG_AS(LOG_LEVEL_DEBUG, kFlow, "md5: down :%s", mFileMD5);
    if (!parsed || !FetchAndVerify()) {
        Report(-1);
        LogPlugStatus(PLUG_UPDATE_REPORTED);
        return 0;
    }
    mProcess = 1;
    Report(0);
    OsSleepMs(kReportLeavesMs);
    LogLastPlugStatus(PLUG_UPDATE_FETCHED); // again: if the connection was lost meanwhile, another status was written
    LOG_AS(LOG_LEVEL_ERR, kFlow, "exit at [%s] %d", kFlow, __LINE__);
    OsExit(-1);
}

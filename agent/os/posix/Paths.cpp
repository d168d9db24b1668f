#include "os/Paths.h"

const char *const kPathPlugStatus = "/tmp/plugstatus";
const char *const kPathDefaultConfig = "/tmp/plug.conf";
const char *const kPathLocalConfig = "./plug.conf";
const char *const kPathTraceroute = "/tmp/tracerouteFile";
const char *const kPathRateTest = "/tmp/rate";
const char *const kPathSubdev = "/tmp/tmpSubdev";
const char *const kPathMacConfig = "/tmp/macconfig";
const char *const kPathPlugDownload = "/tmp/plug_download";
const char *const kPathCommServer = "/tmp/CommServer";

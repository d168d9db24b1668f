#include "plugin/PlugParameters.h"

char mPluginID[128];
char mFromVersion[16];
char mToVersion[128];
char mDownloadServer[32];
int32_t mDownloadPort;
char mDownloadUrl[256];
uint32_t mFileLength;
char mFileMD5[64];
char mToken[128];
int32_t mProcess;
uint8_t mMac[6];
uint8_t mRecogResult;
FirmwareParameters upParm;

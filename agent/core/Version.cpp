#include "core/Version.h"

const uint8_t kPluginVersion[kVersionParts] = {PLUG_VERSION_PARTS};
const char kPluginVersionText[] = PLUG_VERSION;
const char kPluginVersionTagged[] = PLUG_VERSION "-" PLUG_BUILD_TAG;

static_assert(sizeof kPluginVersionTagged <= 30, "version and tag are longer than those who show them expect");

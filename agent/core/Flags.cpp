#include "core/Flags.h"

OsWaiter gFlags;

// BlackList.h - the MACs that are shut out of the household: a file with one on each line, '#' before comments.
// State:    the list of the last reading.
// Threads:  LoadBlackList() the cache thread; BlackList() whoever holds the lock of the devices.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/RouterSdk.h"
#include "sdk/linux/base/Lock.h"

// Reads a text into `macs`. Returns their number. Lines that are no MAC are counted in `bad`.
uint16_t ReadBlackList(const char *text, uint8_t (*macs)[6], size_t *bad);

// Reads the file if it has changed, and takes it over under `lock`; an empty path is no file. Returns true if there is a
// new list. A file that cannot be read changes nothing, unless it is not there: then the list is empty.
bool LoadBlackList(const char *path, pthread_mutex_t *lock);

// Copies the list. Returns the number.
uint16_t BlackList(uint8_t (*macs)[6]);

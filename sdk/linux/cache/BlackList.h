// BlackList.h - the MACs that are shut out of the household: a file with one on each line, '#' before comments.
// State:    the list of the last reading.
// Threads:  LoadBlackList() and BlackListTake() the cache thread, the second under the cache's lock, as is BlackList().
#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/RouterSdk.h"

// Reads a text into `macs`. Returns their number. Lines that are no MAC are counted in `bad`.
uint16_t ReadBlackList(const char *text, uint8_t (*macs)[6], size_t *bad);

// Reads the file if it has changed; an empty path is no file. Returns true if there is a new list to take. A file that
// cannot be read changes nothing, unless it is not there: then the list is empty.
bool LoadBlackList(const char *path);
void BlackListTake();

// Copies the list. Returns the number.
uint16_t BlackList(uint8_t (*macs)[6]);

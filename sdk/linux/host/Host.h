// Host.h - what the machine tells about itself: /proc, DMI and the files of its distribution.
// State:    the processor's times at the last question.
// Threads:  any.
#pragma once

#include "sdk/RouterSdk.h"
#include "sdk/linux/settings/Config.h"

// All return RESULT_OK, or RESULT_NO_FIGURE if the machine does not tell, or the result of a wrong key.
int HostSerial(const Config *config, char sn[64]);
int HostMaker(const Config *config, char t[64]);
int HostModel(const Config *config, char t[64]);
int HostVersion(const Config *config, RouterVersion *version);
int HostCpu(CpuCfg *cpu);
int HostMemory(const Config *config, MemCfg *memory);
int HostName(char name[32]);
int HostCpuUse(uint16_t *percent); // since the last question; the first time since the machine has started
int HostMemoryUse(uint16_t *percent);
int HostUptime(uint64_t *seconds);
bool HostHasIpv6();

// Whether a text of the firmware's tables says something. Many boards say "To be filled by O.E.M." instead.
bool IsMeaningful(const char *text);

// Finds "NAME=value" or "NAME: value" at the start of a line, and copies the value without quotes. False if there is none.
bool FindValue(const char *text, const char *name, char separator, char *value, size_t size);

// The processor's use in percent from two readings of the first line of /proc/stat.
struct CpuTimes {
    uint64_t all;
    uint64_t idle;
};
bool ReadCpuTimes(const char *stat, CpuTimes *times);
uint16_t CpuUse(const CpuTimes &before, const CpuTimes &after);

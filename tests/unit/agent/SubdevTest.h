// SubdevTest.h - what the tests of the attached devices share: the worker on a virtual clock, devices and ARP tables.
#pragma once

#include "platform/Settings.h"
#include "subdev/Subdev.h"
#include "subdev/SubdevMutex.h"
#include "tests/unit/agent/PlatformSide.h"

// Of the router's library, in order.
typedef std::vector<std::string> Calls;

// 02:AA:00:00:hi:lo.
Bytes SubdevMac(unsigned number);
// Its entry in the router's own list: 192.168.1.(number) or .2. and so on, allowed, named "dev" and the number.
DevCfg SubdevDevice(unsigned number);
// A line of "cat /proc/net/arp" for it.
std::string ArpLine(unsigned number);
// A record of 45 bytes: address (reversed), MAC, name, figures and flags.
Bytes SubdevBytes(unsigned number, const std::string &name, uint8_t up, uint8_t down, uint8_t online,
                  uint8_t access = 1);
// The same of SubdevDevice() without traffic.
Bytes OnlineBytes(unsigned number);
Bytes OfflineBytes(unsigned number, const std::string &name = "unknown-device");

class SubdevTest : public LinkedTest
{
  protected:
    void SetUp() override;
    void TearDown() override;

    void Start(); // the worker, until it waits
    // What the shell command will write to its file.
    void Table(const std::string &lines);
    // Ends the present pause of the worker, which must have this length.
    void Pass(int64_t milliseconds);
    void AwaitPause(int64_t milliseconds);
    void AwaitIdle();
    // Asks for a report and lets these pauses pass, all but the last.
    void Scan(std::initializer_list<int64_t> pauses = {20, 20, 20, 20, 4000});
    // The next frame is the report of these records.
    void ExpectReport(unsigned sequence, const Bytes &records);
};

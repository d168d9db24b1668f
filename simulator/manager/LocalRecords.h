// LocalRecords.h - the records that only the local socket carries, as rows, and what is done with records of any
// layout: made from words, changed in single fields, shown. State: none. Threads: any.
#pragma once

#include <string>

#include "protocol/Bytes.h"
#include "protocol/Layout.h"
#include "protocol/RecordLayouts.h"
#include "protocol/Tree.h"
#include "simulator/console/Words.h"

namespace sim
{

using namespace protocol;

// One device of a report under FuncID 40.
constexpr FieldLayout kSeenDeviceFields[] = {
    Mac("mac", "its MAC"),
    Text("name", 16, "the beginning of its name"),
    Opaque("data", 16, "what else the platform is told"),
    Named("online", kNoYes, "whether it is connected"),
};
constexpr Layout kSeenDevice = {kSeenDeviceFields, "device"};
constexpr size_t kMaxSeenDevices = 128; // of one report

// The hand-over of a firmware update.
constexpr FieldLayout kHandOverFields[] = {
    Text("from_version", 64, "version that is to be installed over"),
    Text("to_version", 64, "version that is to be installed"),
    Text("url", 256, "where it is"),
    Number(Type::U32, "file_length", "bytes", "how long it is"),
    Number(Type::U32, "check_method", "", "how it is checked"),
    Text("checksum", 40, "by that method"),
};
constexpr Layout kHandOver = {kHandOverFields};

// A part of the mesh, for the text of the topology.
constexpr const char *kRoles[] = {"router", "satellite"};
constexpr FieldLayout kNodeFields[] = {
    Mac("mac", "its MAC"),
    Text("name", 32, "its name"),
    Named("role", kRoles, "what it is"),
    Mac("parent", "what it is connected to; zero for the router"),
    Named("link", kLinks, "how"),
    Number(Type::I32, "rssi", "dBm", "how well it hears its parent; 0 when wired"),
};
constexpr Layout kNode = {kNodeFields, "mesh node"};

// What a scan for neighbours answers for each: the neighbour record and bytes that are zero here.
constexpr size_t kScannedSize = 77;
constexpr size_t kMaxScanned = 30;

static_assert(FixedSize(kSeenDevice) == 39 && FixedSize(kHandOver) == 432, "as the agent has them");
static_assert(FixedSize(kNeighbour) <= kScannedSize, "a neighbour's record fits");

// A record of a titled layout from words: values in the order of the fields, and NAME=VALUE in any order; what is not
// given is zero. `command` begins the message of a failure. False with the reason.
bool MakeRecord(const char *command, const Layout &layout, const Words &words, Bytes *record, std::string *error);

// Sets the fields that NAME=VALUE words name. False with the reason, and then nothing is changed.
bool ChangeRecord(const Layout &layout, const Words &words, Bytes *record, std::string *error);

// A record's fields. It has the layout's size.
Fields ShowRecord(const Layout &layout, const Bytes &record);

// Addresses lie in network order on the local socket, and the other way round in what the platform sees.
Bytes WithAddressesTurned(const Layout &layout, Bytes record);

} // namespace sim

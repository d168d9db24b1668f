// LocalRecords.h - the layouts of records that only the local socket has, and operations on records of any layout: make
// one from words, change single fields, show it.
// State: none. Threads: any.
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
constexpr size_t kMaxSeenDevices = 128; // devices of a report

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

// A node of the mesh, for the text of the topology.
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

// Bytes of each neighbour in the answer to a scan: the neighbour record, then zeros.
constexpr size_t kScannedSize = 77;
constexpr size_t kMaxScanned = 30;

static_assert(FixedSize(kSeenDevice) == 39 && FixedSize(kHandOver) == 432, "as the agent has them");
static_assert(FixedSize(kNeighbour) <= kScannedSize, "a neighbour's record fits");

// Makes a record of a titled layout from words: values in the order of the fields, then NAME=VALUE in any order;
// missing fields are zero. `command` is the start of an error message. Returns false with the reason.
[[nodiscard]] bool MakeRecord(const char *command, const Layout &layout, const Words &words, Bytes *record,
                              std::string *error);

// Sets the fields of NAME=VALUE words. Returns false with the reason; then nothing is changed.
[[nodiscard]] bool ChangeRecord(const Layout &layout, const Words &words, Bytes *record, std::string *error);

// Returns the fields of a record, which has the layout's size.
[[nodiscard]] Fields ShowRecord(const Layout &layout, const Bytes &record);

// Returns the record with the bytes of its addresses reversed: they are in network order on the local socket, reversed
// on the platform's side.
[[nodiscard]] Bytes WithAddressesTurned(const Layout &layout, Bytes record);

} // namespace sim

// The kernel's ARP table as text: what is an entry and what is skipped.
#include "subdev/ArpTable.h"

#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

#include "tests/fakes/CallText.h"

namespace
{

std::string Shown(const ArpEntry &entry)
{
    uint32_t ip;
    memcpy(&ip, entry.ip, sizeof ip);
    return Shown(ShownIp{ip}) + " " + Shown(ShownMac{entry.mac});
}

// All entries of a table, as texts.
std::vector<std::string> Read(const std::string &table)
{
    const int fd = memfd_create("arp", MFD_CLOEXEC);
    EXPECT_EQ(static_cast<ssize_t>(table.size()), pwrite(fd, table.data(), table.size(), 0));
    ArpReader reader = ArpRead(fd);
    std::vector<std::string> entries;
    for (ArpEntry entry; ArpNext(&reader, &entry);) entries.push_back(Shown(entry));
    close(fd);
    return entries;
}

typedef std::vector<std::string> Entries;
const char kEntry[] = "192.168.1.20 02:1A:2B:00:00:14";

} // namespace

TEST(ArpTable, TakesTheFirstAndTheFourthFieldOfALine)
{
    EXPECT_EQ(Entries({kEntry, "10.0.0.255 FF:EE:DD:CC:BB:AA"}),
              Read("192.168.1.20     0x1         0x2         02:1a:2b:00:00:14     *        br0\n"
                   "10.0.0.255       0x1         0x0         FF:Ee:dD:cc:BB:aa     *        eth0.2\n"));
}

TEST(ArpTable, AnyBlanksSeparateFieldsAndTheRestOfTheLineMayBeMissing)
{
    for (const char *line :
         {"192.168.1.20 0x1 0x2 02:1a:2b:00:00:14", "192.168.1.20 0x1 0x2 02:1a:2b:00:00:14\n",
          "  192.168.1.20\t0x1  0x2\t 02:1a:2b:00:00:14\t\n", "192.168.1.20 0x1 0x2 02:1a:2b:00:00:14\r\n",
          "192.168.1.20 a b 02:1a:2b:00:00:14 c d e f g h"})
        EXPECT_EQ(Entries{kEntry}, Read(line)) << line;
}

TEST(ArpTable, InvalidLinesAreSkipped)
{
    const std::string lines[] = {"",
                                 " ",
                                 "\t\t",
                                 "192.168.1.20",
                                 "192.168.1.20 0x1 0x2",
                                 "192.168.1.20 0x1 02:1a:2b:00:00:14",        // the third field
                                 "192.168.1.20 0x1 0x2 x 02:1a:2b:00:00:14",  // the fifth
                                 "192.168.1.20 0x1 0x2 02:1a:2b:00:00:1 *",   // 16 characters
                                 "192.168.1.20 0x1 0x2 02:1a:2b:00:00:144 *", // 18
                                 "192.168.1.20 0x1 0x2 02:1a:2b:00:00:14:15:16 *",
                                 "192.168.1.20 0x1 0x2 02:1a:2b:00:00:1g *",
                                 "192.168.1.20 0x1 0x2 0x:1a:2b:00:00:14 *",
                                 "192.168.1.20 0x1 0x2 02-1a-2b-00-00-14 *",
                                 "192.168.1.20 0x1 0x2 021a2b0000145566 7 *",
                                 "192.168.1.20 0x1 0x2 <<<<incomplete>>> *",
                                 "192.168.1.20 0x1 0x2 ::::::::::::::::: *",
                                 "192.168.1.256 0x1 0x2 02:1a:2b:00:00:14 *",
                                 "192.168.1.20.1 0x1 0x2 02:1a:2b:00:00:14 *",
                                 "nobody 0x1 0x2 02:1a:2b:00:00:14 *",
                                 "fe80::1 0x1 0x2 02:1a:2b:00:00:14 *",
                                 "IP address       HW type     Flags       HW address            Mask     Device",
                                 "192.168.1.20 0x1 0x2 02:1a:2b:00:\xFF\xFE:14 *"};
    for (const std::string &line : lines) {
        EXPECT_EQ(Entries{}, Read(line)) << line;
        EXPECT_EQ(Entries{kEntry}, Read(line + "\n192.168.1.20 0x1 0x2 02:1a:2b:00:00:14\n")) << line;
    }
}

TEST(ArpTable, AnInvalidLineLeavesTheEntryUnchanged)
{
    ArpEntry entry = {{1, 2, 3, 4}, {1, 2, 3, 4, 5, 6}};
    char line[] = "192.168.1.20 0x1 0x2 02:1a:2b:00:00:1g *";
    EXPECT_FALSE(ArpParse(line, &entry));
    EXPECT_EQ("1.2.3.4 01:02:03:04:05:06", Shown(entry));
}

TEST(ArpTable, Only158BytesOfALineAreRead)
{
    const std::string entry = " 0x1 0x2 02:1a:2b:00:00:14";
    const std::string blanks(158 - 12 - entry.size(), ' ');
    EXPECT_EQ(Entries{kEntry}, Read("192.168.1.20" + blanks + entry)); // 158 bytes
    EXPECT_EQ(Entries{}, Read("192.168.1.20" + blanks + " " + entry)); // its last digit is not read
    EXPECT_EQ(Entries{kEntry}, Read("192.168.1.20" + entry + std::string(5000, 'x').replace(0, 1, " ")));
    // The rest of the line is no line of its own.
    EXPECT_EQ(Entries{}, Read(std::string(158, 'x') + "192.168.1.20 0x1 0x2 02:1a:2b:00:00:14\n"));
    EXPECT_EQ(Entries{kEntry}, Read(std::string(100000, 'x') + "\n192.168.1.20 0x1 0x2 02:1a:2b:00:00:14\n"));
}

TEST(ArpTable, ANulEndsALineForItsReaderButNotTheTable)
{
    static const char kTable[] = "192.168.1.21 0x1\0 0x2 02:1a:2b:00:00:15\n192.168.1.20 0x1 0x2 02:1a:2b:00:00:14\n";
    EXPECT_EQ(Entries{kEntry}, Read(std::string(kTable, sizeof kTable - 1)));
}

TEST(ArpTable, LinesMayContinueInTheNextRead)
{
    std::string table;
    Entries entries;
    for (int i = 1; i <= 200; i++) {
        table += "192.168.1." + std::to_string(i) + std::string(static_cast<size_t>(i % 60 + 1), ' ') +
                 "0x1 0x2 02:1a:2b:00:00:14\n";
        entries.push_back("192.168.1." + std::to_string(i) + " 02:1A:2B:00:00:14");
    }
    EXPECT_EQ(entries, Read(table));
}

TEST(ArpTable, ATableThatCannotBeReadHasNoEntries)
{
    ArpReader reader = ArpRead(-1);
    ArpEntry entry;
    EXPECT_FALSE(ArpNext(&reader, &entry));
}

// Messages.h - messages of the kernel, made by hand: header, fixed part, attributes.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <libmnl/libmnl.h>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

// One attribute with its padding.
Bytes Attribute(uint16_t type, const Bytes &payload);
Bytes Number(uint64_t value, size_t size); // in the order of this machine
Bytes Big(uint64_t value);                 // 8 bytes, most significant first
Bytes Text(const std::string &text);       // with a NUL
Bytes operator+(const Bytes &a, const Bytes &b);

template <typename Record>
Bytes Raw(const Record &record)
{
    const uint8_t *bytes = reinterpret_cast<const uint8_t *>(&record);
    return Bytes(bytes, bytes + sizeof record);
}

// A message that nlmsghdr pointers may point to.
class Message
{
  public:
    Message(uint16_t type, const Bytes &payload, uint32_t sender = 0);
    const nlmsghdr *Get() const { return reinterpret_cast<const nlmsghdr *>(mWords.data()); }
    size_t Size() const { return Get()->nlmsg_len; }
    // The same message, said to be `length` bytes long; what is behind is gone.
    Message CutTo(size_t length) const;

  private:
    std::vector<uint64_t> mWords;
};

// Messages of rtnetlink.
Message LinkMessage(int index, const std::string &name, bool up, int master = 0, const std::string &kind = "");
Message WirelessNews(int index, const std::string &name); // such as the end of a scan
Message LinkGone(int index);
Message AddressMessage(int index, const Bytes &address, uint8_t prefix, bool permanent = true);
Message RouteMessage(int index, const Bytes &gateway, uint32_t metric);
Message BridgeMessage(const Bytes &mac, int port, int bridge, bool gone = false);
// `confirmed`: age of the last confirmation in hundredths of a second.
Message NeighbourMessage(int lan, const Bytes &address, const Bytes &mac, uint16_t state, uint32_t confirmed,
                         bool gone = false);

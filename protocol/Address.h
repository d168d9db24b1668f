// Address.h - an IPv4 address with a port.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>

namespace protocol
{

struct Address {
    uint8_t octets[4] = {127, 0, 0, 1};
    uint16_t port = 0;
};

// "1.2.3.4:5678" or ":5678" (this computer), ports 0 to 65535.
bool ParseAddress(const std::string &text, Address *address);
std::string AddressText(const Address &address);

} // namespace protocol

#include "protocol/Address.h"

#include <arpa/inet.h>
#include <cstring>

#include "protocol/Numbers.h"

namespace protocol
{

bool ParseAddress(const std::string &text, Address *address)
{
    const size_t colon = text.rfind(':');
    int64_t port;
    if (colon == std::string::npos || !ParseNumber(text.substr(colon + 1), 0, 65535, &port)) return false;
    Address parsed;
    if (colon > 0) {
        in_addr ip;
        if (inet_pton(AF_INET, text.substr(0, colon).c_str(), &ip) != 1) return false;
        memcpy(parsed.octets, &ip, sizeof parsed.octets);
    }
    parsed.port = static_cast<uint16_t>(port);
    *address = parsed;
    return true;
}

std::string AddressText(const Address &address)
{
    std::string text;
    for (int i = 0; i < 4; i++) text += (i ? "." : "") + std::to_string(address.octets[i]);
    return text + ':' + std::to_string(address.port);
}

} // namespace protocol

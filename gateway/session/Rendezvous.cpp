#include "gateway/session/Rendezvous.h"

namespace gateway
{

// FNV-1a, then the finish of MurmurHash3: without it, the high bits of texts with the same beginning are alike.
uint64_t StableHash(const std::string &text)
{
    uint64_t hash = 0xcbf29ce484222325;
    for (const char c : text) hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001b3;
    hash = (hash ^ hash >> 33) * 0xff51afd7ed558ccd;
    hash = (hash ^ hash >> 33) * 0xc4ceb9fe1a85ec53;
    return hash ^ hash >> 33;
}

size_t Choose(const std::vector<std::string> &places, const std::string &key)
{
    size_t best = 0;
    uint64_t highest = 0;
    for (size_t i = 0; i < places.size(); i++) {
        const uint64_t hash = StableHash(places[i] + '\n' + key);
        if (i > 0 && hash <= highest) continue;
        best = i;
        highest = hash;
    }
    return best;
}

} // namespace gateway

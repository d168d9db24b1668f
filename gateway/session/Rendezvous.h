// Rendezvous.h - which of several places is a key's: the one whose hash with the key is the highest.
//
// Every place gets its even share, and when one comes or goes, only the keys that it gets or had move.
// State: none. Threads: any.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace gateway
{

// The same number for the same text in every process and on every machine.
uint64_t StableHash(const std::string &text);

// The index of the key's place; 0 when there is none.
size_t Choose(const std::vector<std::string> &places, const std::string &key);

} // namespace gateway

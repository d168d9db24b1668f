// Contract.h - the names of the contract's functions, taken from RouterSdk.h when this is built (contract-names.cmake).
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

namespace check
{

// In the order of the header.
[[nodiscard]] const std::vector<std::string> &ContractNames();

} // namespace check

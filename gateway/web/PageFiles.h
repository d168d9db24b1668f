// PageFiles.h - the files of the page, which the build puts into the program.
// State: none; constants. Threads: any.
#pragma once

#include <cstddef>
#include <string_view>

namespace gateway
{

struct PageFile {
    std::string_view path; // of the URL
    std::string_view type; // its Content-Type
    std::string_view content;
};

extern const PageFile kPageFiles[];
extern const size_t kPageFileCount;

} // namespace gateway

// Csv.h - comma-separated values as RFC 4180 has them: quoted fields may hold commas, line ends and doubled quotes.
// State: none. Threads: any.
#pragma once

#include <string>
#include <vector>

namespace gateway
{

struct CsvRow {
    size_t line; // on which it begins, from 1
    std::vector<std::string> fields;
};

// Lines end with CR LF or LF; empty ones are left out. Throws std::runtime_error with the line of a quote that does not
// end, or has something behind it.
std::vector<CsvRow> ReadCsv(const std::string &text);

// One row with its line end. Quotes what needs it.
std::string CsvLine(const std::vector<std::string> &fields);

} // namespace gateway

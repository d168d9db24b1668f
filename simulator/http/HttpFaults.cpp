#include "simulator/http/HttpFaults.h"

namespace sim
{

static const int64_t kMaxFiller = 65536; // bytes of filler in header lines

const FaultTable kHttpFaults = {
    "http",
    nullptr,
    "PATH|* NAME[=VALUE]... [COUNT]; without COUNT until \"http off\" or \"http off NAME\".\n"
    "SIZE and N are bytes, with K, M or G for 1024 and its powers.\n\n",
    ", ",
    " times",
    {
        {"size", SizeValue("SIZE", nullptr, 0, kMaxSize), "no fault: a made-up body of this size, whatever the path"},
        {"late", SecondsValue(), "answer SECONDS later"},
        {"not-found", SizeValue("SIZE", "2000", 0, kMaxSize),
         "answer \"404 Not Found\" with a made-up body of this size"},
        {"drip-header", SizeValue("MS", "10", 0, 3600000), "send the header a byte every MS milliseconds"},
        {"cut-header", SizeValue("N", "20", 0, kMaxFiller),
         "send the first N bytes of the header and nothing else, then close; with stall or reset, that instead"},
        {"no-header-end", kNoValue,
         "leave out the empty line: the body follows the last header line. Closes nothing: add close=SIZE for that"},
        {"bare-lf", kNoValue, "end header lines with LF alone"},
        {"long-header", SizeValue("N", "2000", 12, kMaxFiller), "add N bytes of header behind Content-Length"},
        {"late-length", SizeValue("N", "2000", 12, kMaxFiller), "add N bytes of header before Content-Length"},
        {"header", FaultValue{FaultValue::Line, "TEXT", nullptr}, "add a header line before Content-Length"},
        {"length", FaultValue{FaultValue::Line, "TEXT", nullptr},
         "set Content-Length to TEXT, a number or not: -1, 4294967297, nonsense. The body stays as it is"},
        {"length-line", SizeValue("N", "64", 17, 4000),
         "lengthen the Content-Length line to N characters, with zeros before the number"},
        {"no-length", kNoValue, "leave out Content-Length; close behind the body"},
        {"announce-more", SizeValue("N", "1", 1, kMaxSize), "announce N bytes more than are sent, then close"},
        {"send-more", SizeValue("N", "1", 1, kMaxSize), "send N bytes more than are announced"},
        {"slow", SizeValue("SIZE", "1000", 1, kMaxSize),
         "send SIZE bytes of the body a second, by plugsim's own clock"},
        {"stall", SizeValue("SIZE", "0", 0, kMaxSize), "send nothing after SIZE bytes of the body; stay connected"},
        {"close", SizeValue("SIZE", "0", 0, kMaxSize), "close after SIZE bytes of the body"},
        {"reset", SizeValue("SIZE", "0", 0, kMaxSize),
         "close with a TCP reset once SIZE bytes of the body have arrived"},
    },
    nullptr,
    nullptr,
};

} // namespace sim

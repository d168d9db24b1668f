// Figures.h - how the benchmarks print what they measured: one line a figure, for the table of scripts/bench.sh.
#pragma once

#include <string>
#include <vector>

// Prints one figure: what it is, what it should be, what it is here.
void PrintFigure(const std::string &what, const std::string &toReach, const std::string &measured, bool reached);

// printf into a string.
std::string Format(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The value that `share` (0 to 1) of the sorted values lie below; 0.5 is the median. `values` is not empty.
double Quantile(std::vector<double> values, double share);

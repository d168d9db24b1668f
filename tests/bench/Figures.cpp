#include "Figures.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

void PrintFigure(const std::string &what, const std::string &toReach, const std::string &measured, bool reached)
{
    printf("FIGURE\t%s\t%s\t%s\t%s\n", what.c_str(), toReach.c_str(), measured.c_str(), reached ? "reached" : "MISSED");
    fflush(stdout);
}

std::string Format(const char *format, ...)
{
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

double Quantile(std::vector<double> values, double share)
{
    const size_t at = std::min(values.size() - 1, static_cast<size_t>(share * static_cast<double>(values.size())));
    std::nth_element(values.begin(), values.begin() + static_cast<long>(at), values.end());
    return values[at];
}

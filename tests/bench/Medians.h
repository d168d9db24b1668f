// Medians.h - a Google Benchmark run of which the medians are kept.
#pragma once

#include <benchmark/benchmark.h>
#include <map>
#include <string>
#include <vector>

// Shows the usual table and keeps the medians.
class MedianReporter : public benchmark::ConsoleReporter
{
  public:
    MedianReporter() : ConsoleReporter(OO_None) {} // no colours: the output goes through a pipe
    void ReportRuns(const std::vector<Run> &runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run &run : runs)
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
                mMedians[run.run_name.function_name] = run.GetAdjustedCPUTime();
    }
    double Median(const std::string &name) { return mMedians[name]; }

  private:
    std::map<std::string, double> mMedians; // nanoseconds
};

// Takes the options of the command line, after some of its own that they may replace: all benchmarks take turns, so
// other work of the machine hits them alike. Returns false when an option is unknown.
inline bool InitializeForMedians(int argc, char *argv[])
{
    static char interleave[] = "--benchmark_enable_random_interleaving=true", repeat[] = "--benchmark_repetitions=15",
                briefly[] = "--benchmark_min_time=0.1", aggregates[] = "--benchmark_display_aggregates_only=true";
    std::vector<char *> arguments = {argv[0], interleave, repeat, briefly, aggregates};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    return !benchmark::ReportUnrecognizedArguments(count, arguments.data());
}

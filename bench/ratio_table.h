/*
 * Runs the benchmarks of a program and ends with a table: one time over another, and the goal for that
 * ratio.
 */
#ifndef ORKA_BENCH_RATIO_TABLE_H
#define ORKA_BENCH_RATIO_TABLE_H

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace orka::bench {

struct ratio_row {
    const char *measured; /* a benchmark's name */
    const char *over;     /* another's */
    double goal;          /* the ratio is to be no more than this; 0 without a goal */
};

/*
 * Prints as usual, and keeps the shortest time of each benchmark: what other work on the machine added is
 * noise.
 */
class ShortestTimes : public benchmark::ConsoleReporter {
  public:
    ShortestTimes() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred)
                keep(run.run_name.function_name, run.GetAdjustedRealTime());
        }
        ConsoleReporter::ReportRuns(runs);
    }

    /* 0 for a benchmark that did not run. */
    double of(const std::string &name) const
    {
        const auto found = times_.find(name);
        return found == times_.end() ? 0 : found->second;
    }

  private:
    void keep(const std::string &name, double time)
    {
        const auto [entry, added] = times_.emplace(name, time);
        if (!added)
            entry->second = std::min(entry->second, time);
    }

    std::map<std::string, double> times_;
};

/* Into the one table of all benchmarks, where it is wanted: see table.sh. */
inline void add_to_table(const ratio_row &row, double ratio)
{
    const char *path = getenv("ORKA_BENCH_TABLE");
    FILE *table = path != nullptr ? fopen(path, "a") : nullptr;

    if (table == nullptr)
        return;
    fprintf(table, "%s over %s|%.3f|", row.measured, row.over, ratio);
    if (row.goal > 0)
        fprintf(table, "%.3g|%s\n", row.goal, ratio <= row.goal ? "met" : "MISSED");
    else
        fprintf(table, "-|-\n");
    fclose(table);
}

inline void print_ratio(const ShortestTimes &times, const ratio_row &row)
{
    const double measured = times.of(row.measured);
    const double over = times.of(row.over);

    if (measured <= 0 || over <= 0)
        return;
    const double ratio = measured / over;
    printf("%-26s %9.2f ns   over %-26s %9.2f ns   = %5.3f", row.measured, measured, row.over, over, ratio);
    if (row.goal > 0)
        printf("   goal %.2f %s", row.goal, ratio <= row.goal ? "met" : "MISSED");
    printf("\n");
    add_to_table(row, ratio);
}

/* The body of main. Repetitions are interleaved, so that a slow second of the machine hits all alike. */
inline int run_and_compare(int argc, char **argv, std::span<const ratio_row> rows)
{
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::string repeat = "--benchmark_repetitions=100";
    std::string brief = "--benchmark_min_time=0.004";
    std::vector<char *> arguments = {argv[0], interleave.data(), repeat.data(), brief.data()};

    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 2;

    ShortestTimes times;
    benchmark::RunSpecifiedBenchmarks(&times);
    printf("\n");
    for (const ratio_row &row : rows)
        print_ratio(times, row);
    return 0;
}

} // namespace orka::bench

#endif

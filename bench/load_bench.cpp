/*
 * What it takes to load liborka.so and to let it go again, beside a library of one empty function that is
 * linked in the same way.
 *
 * orka_bench_load --once orka|empty loads one of the two once and measures nothing; load.sh counts it.
 */
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

#include "ratio_table.h"

static void load(const char *library)
{
    void *handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);

    if (handle == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        exit(1);
    }
    dlclose(handle);
}

static void load_library(benchmark::State &state)
{
    for (auto _ : state)
        load(ORKA_BENCH_LIBRARY);
}

static void load_empty(benchmark::State &state)
{
    for (auto _ : state)
        load(ORKA_BENCH_EMPTY_LIBRARY);
}

BENCHMARK(load_library);
BENCHMARK(load_empty);

int main(int argc, char **argv)
{
    static constexpr orka::bench::ratio_row rows[] = {{"load_library", "load_empty", 0}};

    if (argc == 3 && strcmp(argv[1], "--once") == 0) {
        load(strcmp(argv[2], "orka") == 0 ? ORKA_BENCH_LIBRARY : ORKA_BENCH_EMPTY_LIBRARY);
        return 0;
    }
    return orka::bench::run_and_compare(argc, argv, rows);
}

#include <benchmark/benchmark.h>

#include <cstdio>

// Figures of a debug build mean nothing, so there are none.
int main(int argc, char ** argv)
{
#ifndef NDEBUG
    std::fputs("ketstats-bench: this is a debug build; use the release preset\n", stderr);
    return 1;
#endif
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// Benchmarks of the service's classes, one by one.
#include <benchmark/benchmark.h>

#include <cstdio>

#include "ConstantFramework.h"

int main(int argc, char** argv)
{
    if (!ORV_MEASURABLE)
    {
        std::fprintf(stderr, "This build is not fit for measuring; use the release preset.\n");
        return 2;
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 2;
    }
    OrvBench::loadConstantFramework();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

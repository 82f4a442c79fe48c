// Benchmarks of the service's classes, one by one.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <vector>

#include "ConstantFramework.h"

namespace
{

// What holds unless the command line says otherwise.
const char* const DEFAULTS[] = {"--benchmark_repetitions=10", "--benchmark_report_aggregates_only=true"};

}  // namespace

int main(int argc, char** argv)
{
    if (!ORV_MEASURABLE)
    {
        std::fprintf(stderr, "This build is not fit for measuring; use the release preset.\n");
        return 2;
    }
    std::vector<char*> arguments(argv, argv + argc);
    for (const char* const option : DEFAULTS)
    {
        arguments.insert(arguments.begin() + 1, const_cast<char*>(option));  // only read
    }
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
    {
        return 2;
    }
    OrvBench::loadConstantFramework();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}

// A trace that is off: one load, one compare, one branch.
#include <benchmark/benchmark.h>

#include "ServiceLog.h"

namespace
{

void BM_Trace_Off(benchmark::State& state)
{
    if (Orv::LoggingWrapper::get_level() >= Orv::LoggingWrapper::LEVEL_TRACE)
    {
        state.SkipWithError("the trace is on");
    }
    int count = 0;
    for (auto _ : state)
    {
        NOTIF_TRACE("number %d", ++count);
    }
    if (count != 0)
    {
        state.SkipWithError("an argument was evaluated");
    }
}
BENCHMARK(BM_Trace_Off);

}  // namespace

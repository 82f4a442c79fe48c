// A push into a full store: a copy, the release of the oldest record, and the shift of all the others.
#include <benchmark/benchmark.h>

#include "NotificationQueue.h"
#include "SampleRecord.h"

namespace
{

void BM_NotificationQueue_PushIntoFull(benchmark::State& state)
{
    OrvOamSpiNbiNotificationValue_1 record = OrvBench::sampleRecord();
    const auto size = static_cast<unsigned int>(state.range(0));
    NotificationQueue store(size);
    for (unsigned int i = 0; i < size; ++i)
    {
        ++record.eventTime;
        store.push(record);
    }
    for (auto _ : state)
    {
        ++record.eventTime;
        store.push(record);
    }
}
BENCHMARK(BM_NotificationQueue_PushIntoFull)->Arg(100)->Arg(5000)->Arg(100000);

}  // namespace

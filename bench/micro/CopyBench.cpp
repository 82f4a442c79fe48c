// What every stage of a record's way pays: a deep copy and its release.
#include <benchmark/benchmark.h>

#include "NotificationUtils.h"
#include "SampleRecord.h"

namespace
{

void BM_NotificationUtils_CopyAndDelete(benchmark::State& state)
{
    const OrvOamSpiNbiNotificationValue_1& record = OrvBench::sampleRecord();
    for (auto _ : state)
    {
        OrvOamSpiNbiNotificationValue_1* copy = NotificationUtils::copyNotification(record);
        benchmark::DoNotOptimize(copy);
        NotificationUtils::deleteNotification(copy);
    }
}
BENCHMARK(BM_NotificationUtils_CopyAndDelete);

}  // namespace

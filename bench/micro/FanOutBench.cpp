// What the service thread does for one notification: storing it, and a copy into the queue of every subscription.
#include <benchmark/benchmark.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

#include "LegacySubscriptionFilter.h"
#include "NotificationServiceRunnable.h"
#include "SampleRecord.h"

namespace
{

using namespace OrvNbiNotificationService;

const unsigned int STORE = 100;  // and the limit of a queue, far above what is under way at a time

std::mutex mutex;
std::condition_variable allReceived;
uint64_t outstanding = 0;

// A record that a delivery run misses as it ends waits for the next one, so after a while one is sent that counts for
// nothing.
const uint32_t NUDGE = 1;  // its sequence number
const std::chrono::milliseconds PATIENCE(10);

OrvReturnT receive(unsigned int, OrvOamSpiNbiNotificationValue_1* record)
{
    if (record->sequenceNumber == NUDGE)
    {
        return OrvOk;
    }
    std::lock_guard<std::mutex> lock(mutex);
    if (--outstanding == 0)
    {
        allReceived.notify_one();
    }
    return OrvOk;
}

void awaitAll(NotificationServiceRunnable& runnable, OrvOamSpiNbiNotificationValue_1 record)
{
    record.sequenceNumber = NUDGE;
    std::unique_lock<std::mutex> lock(mutex);
    while (!allReceived.wait_for(lock, PATIENCE, [] { return outstanding == 0; }))
    {
        lock.unlock();
        runnable.notifyHandlers(&record);
        lock.lock();
    }
}

// Time of notifyHandlers alone. Every subscriber has received the record before the next one comes, so each
// subscription starts a run for each.
void BM_NotificationServiceRunnable_NotifyHandlers(benchmark::State& state)
{
    typedef std::chrono::steady_clock Clock;
    NotificationServiceRunnable runnable(STORE);
    const auto subscriptions = static_cast<unsigned int>(state.range(0));
    for (unsigned int handle = 1; handle <= subscriptions; ++handle)
    {
        runnable.addSubscription(handle, {receive}, new LegacySubscriptionFilter(nullptr), 0, 0, false, 0);
    }
    OrvOamSpiNbiNotificationValue_1 record = OrvBench::sampleRecord();
    for (auto _ : state)
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            outstanding = subscriptions;
        }
        ++record.eventTime;
        const Clock::time_point before = Clock::now();
        runnable.notifyHandlers(&record);
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - before).count());
        awaitAll(runnable, record);
    }
    state.SetItemsProcessed(state.iterations() * subscriptions);
    runnable.stop();
}
BENCHMARK(BM_NotificationServiceRunnable_NotifyHandlers)
    ->ArgName("subscriptions")
    ->Arg(1)
    ->Arg(8)
    ->Arg(64)
    ->Arg(256)
    ->UseManualTime();

}  // namespace

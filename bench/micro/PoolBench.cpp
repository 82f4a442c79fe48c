// The start of a run on the notification pool.
#include <Poco/ActiveMethod.h>
#include <benchmark/benchmark.h>

#include <chrono>

#include "NotificationThreadPoolManager.h"
#include "NotificationThreadStarter.h"

namespace
{

using namespace OrvNbiNotificationService;

class Owner
{
public:
    Owner() : start(this, &Owner::run) {}

    Poco::ActiveMethod<void, void, Owner, NotificationThreadStarter<Owner>> start;

private:
    void run() {}
};

typedef std::chrono::steady_clock Clock;

double secondsSince(Clock::time_point before)
{
    return std::chrono::duration<double>(Clock::now() - before).count();
}

// The starting thread's side alone. The run has ended before the next start.
void BM_NotificationThreadStarter_Start(benchmark::State& state)
{
    Owner owner;
    owner.start().wait();  // the pool makes its threads at the first one
    for (auto _ : state)
    {
        const Clock::time_point before = Clock::now();
        Poco::ActiveResult<void> result = owner.start();
        state.SetIterationTime(secondsSince(before));
        result.wait();
    }
    NotificationThreadPoolManager::instance().stopAll();
}
BENCHMARK(BM_NotificationThreadStarter_Start)->UseManualTime();

// From the start until the starting thread knows that the run has ended.
void BM_NotificationThreadStarter_StartAndWait(benchmark::State& state)
{
    Owner owner;
    owner.start().wait();
    for (auto _ : state)
    {
        Poco::ActiveResult<void> result = owner.start();
        result.wait();
    }
    NotificationThreadPoolManager::instance().stopAll();
}
BENCHMARK(BM_NotificationThreadStarter_StartAndWait)->UseRealTime();

}  // namespace

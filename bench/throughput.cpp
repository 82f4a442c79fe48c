// How fast notifications get from pushNotification to the handlers of 1 and of 64 subscribers, and what a service costs
// that has nothing to do. The library is loaded as a host loads it and reached through its table alone.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <vector>

#include "FakeFramework.h"
#include "LoadedComponent.h"
#include "Records.h"

namespace
{

const unsigned int MAX_SUBSCRIBERS = 64;
const unsigned int IDLE_SECONDS = 10;

// All are multiples of WAKE_EVERY, so that a producer that waits for a multiple is always woken.
const uint64_t WAKE_EVERY = 128;
const uint64_t BATCH = 80 * WAKE_EVERY;  // notifications of one iteration
const uint64_t CHUNK = 2 * WAKE_EVERY;   // pushed between two looks at the subscribers
const uint64_t WINDOW = 8 * WAKE_EVERY;  // how far the slowest subscriber may be behind
// Above WINDOW + CHUNK: no queue ever overflows.
const char* const BUFFER_SIZE = "4096";

struct alignas(64) Counter
{
    std::atomic<uint64_t> received{0};
};

std::array<Counter, MAX_SUBSCRIBERS> counters;
std::atomic<unsigned int> firstHandle{0};
std::atomic<uint64_t> strangers{0};  // records that were not pushed, such as an overflow
std::mutex progressMutex;
std::condition_variable progress;

OrvReturnT count(unsigned int subscriptionHandle, OrvOamSpiNbiNotificationValue_1* notification)
{
    if (notification->notificationType != objectCreated)
    {
        strangers.fetch_add(1);
    }
    Counter& counter = counters[subscriptionHandle - firstHandle.load(std::memory_order_relaxed)];
    const uint64_t received = counter.received.fetch_add(1, std::memory_order_release) + 1;
    if (received % WAKE_EVERY == 0)
    {
        std::lock_guard<std::mutex> lock(progressMutex);
        progress.notify_one();
    }
    return OrvOk;
}

void require(OrvReturnT result, const char* what)
{
    if (result != OrvOk)
    {
        std::fprintf(stderr, "%s failed with %d\n", what, result);
        std::exit(1);
    }
}

// A started service with this many subscribers that accept everything.
class Service
{
public:
    explicit Service(unsigned int subscribers)
        : _component(_framework),
          _notification(OrvTest::makeNotification(
              1, "ManagedElement=me,interfaces=1,interface=eth0", objectCreated,
              {OrvTest::int32Attribute("mtu", 1500), OrvTest::stringAttribute("description", "uplink to the core")})),
          _subscribers(subscribers)
    {
        require(_component.initWithConfiguration(OrvTest::configurationWithBufferSize(BUFFER_SIZE)), "zelLCMinit");
        require(_component.start(), "start");
        _table = &_component.table();
        OrvOamSpiNbiNotificationHandler_1 handler = {count};
        unsigned int handlerId = 0;
        require(_table->registerHandler(&handler, &handlerId), "registerHandler");
        for (unsigned int i = 0; i < subscribers; ++i)
        {
            unsigned int handle = 0;
            require(_table->getSubscriptionHandle(&handle), "getSubscriptionHandle");
            if (i == 0)
            {
                firstHandle = handle;
            }
            counters[i].received = 0;
            OrvNameValuePair* everything[] = {nullptr};
            require(_table->subscribe(handlerId, everything, handle, 0, 0, false, 0), "subscribe");
        }
    }

    // Pushes a batch and returns when every subscriber has received all of it.
    void pushBatch()
    {
        const uint64_t end = _pushed + BATCH;
        while (_pushed < end)
        {
            for (uint64_t i = 0; i < CHUNK; ++i)
            {
                require(_table->pushNotification(*_notification), "pushNotification");
            }
            _pushed += CHUNK;
            waitUntilReceived(_pushed > WINDOW ? _pushed - WINDOW : 0);
        }
        waitUntilReceived(end);
    }

private:
    void waitUntilReceived(uint64_t number) const
    {
        std::unique_lock<std::mutex> lock(progressMutex);
        progress.wait(lock,
                      [&]
                      {
                          return std::all_of(counters.begin(), counters.begin() + _subscribers,
                                             [&](const Counter& counter)
                                             { return counter.received.load(std::memory_order_acquire) >= number; });
                      });
    }

    OrvTest::FakeFramework _framework;
    OrvTest::LoadedComponent _component;
    OrvTest::Notification _notification;
    OrvOamSpiNbiNotificationService* _table = nullptr;
    const unsigned int _subscribers;
    uint64_t _pushed = 0;
};

void BM_Service_PushToHandler(benchmark::State& state)
{
    const auto subscribers = static_cast<unsigned int>(state.range(0));
    Service service(subscribers);
    strangers = 0;
    for (auto _ : state)
    {
        service.pushBatch();
    }
    if (strangers != 0)
    {
        state.SkipWithError("a subscriber received something that was not pushed");
    }
    const auto notifications = static_cast<double>(state.iterations()) * static_cast<double>(BATCH);
    state.counters["notifications"] = benchmark::Counter(notifications, benchmark::Counter::kIsRate);
    state.counters["deliveries"] = benchmark::Counter(notifications * subscribers, benchmark::Counter::kIsRate);
}
BENCHMARK(BM_Service_PushToHandler)
    ->Arg(1)
    ->Arg(MAX_SUBSCRIBERS)
    ->Repetitions(10)
    ->ReportAggregatesOnly()
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

double cpuSeconds()
{
    rusage usage = rusage();
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) * 1e-6;
}

void reportIdleCost(unsigned int subscribers)
{
    Service service(subscribers);
    service.pushBatch();
    const double before = cpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(IDLE_SECONDS));
    const double spent = cpuSeconds() - before;
    std::printf("idle with %u subscribers: %.3f ms of CPU time in %u s (%.4f %%)\n", subscribers, spent * 1e3,
                IDLE_SECONDS, spent * 100 / IDLE_SECONDS);
}

}  // namespace

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
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    reportIdleCost(MAX_SUBSCRIBERS);
    return 0;
}

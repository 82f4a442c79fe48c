// M: what the producer's call costs while every queue overflows again and again. Every handler takes a millisecond for
// a record. No subscriber gives credit. A push does not wait for the service's thread, so what lies in the pipe between
// the two would grow without end, and the memory with it: the producer waits as soon as it is as much as may be under
// way in F. In F some of that waits in the subscribers' queues; here all of it lies in the pipe.
#include <atomic>
#include <stdexcept>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Load.h"
#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

const unsigned int SUBSCRIBERS = 8;
const unsigned int STORE = 100;
const int64_t PATIENCE = 30 * NANOSECONDS;
// Records that lie in the pipe before and after so many have been pushed without a look at how many there are. They are
// between 2250 and 2500 while the producer is the faster one.
const uint64_t AHEAD = 2250;
const uint64_t LOOK = 250;

std::atomic<uint64_t> overflows{0};

void receiveSlowly(unsigned int subscriber, uint64_t number)
{
    if (number == 0)
    {
        overflows.fetch_add(1, std::memory_order_relaxed);
    }
    Load::receive(subscriber, number);
    sleepUntil(nowNanoseconds() + MILLISECOND);
}

// Waits until at most this number of records has not been stored yet: event times are ascending by one.
void awaitStored(OrvOamSpiNbiNotificationService& table, const Load& load, uint64_t outstanding)
{
    const int64_t oldestWanted = load.eventTime() - static_cast<int64_t>(outstanding) - (STORE - 1);
    const int64_t end = nowNanoseconds() + PATIENCE;
    long long oldest = 0;
    while (requireOk(table.getOldestBufferTimestamp(&oldest), "getOldestBufferTimestamp"), oldest < oldestWanted)
    {
        if (nowNanoseconds() > end)
        {
            throw std::runtime_error("a record that has been pushed is not stored");
        }
        sleepUntil(nowNanoseconds() + MILLISECOND / 10);
    }
}

void measure(const Settings& settings)
{
    ServiceChannel channel;
    ChannelOptions channelOptions;
    channelOptions.storeSize = STORE;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = 0;
    options.laggards = SUBSCRIBERS;
    Load load(channel, channelOptions, options, receiveSlowly);
    OrvOamSpiNbiNotificationService& table = channel.host().table();
    std::vector<int64_t> pushes;
    const int64_t start = nowNanoseconds();
    while (nowNanoseconds() - start < measuringTime(settings.quick))
    {
        for (uint64_t i = 0; i < LOOK; ++i)
        {
            const int64_t before = nowNanoseconds();
            load.push();
            pushes.push_back(nowNanoseconds() - before);
        }
        awaitStored(table, load, AHEAD);
    }
    awaitStored(table, load, 0);
    const int64_t duration = nowNanoseconds() - start;
    load.close();
    if (overflows == 0)
    {
        throw std::runtime_error("no queue has overflowed");
    }
    Figures figures("M", "service", {{"S", SUBSCRIBERS}, {"K", STORE}});
    figures.report("push_p50", "ns", meanOfMiddle(pushes));
    figures.report("push_p99", "ns", quantile(pushes, 0.99));
    figures.report("time_per_record", "ns", static_cast<double>(duration) / static_cast<double>(load.published()));
    figures.report("overflows", "1", static_cast<double>(overflows));
}

}  // namespace

void addOverflow(Cases& cases)
{
    cases.push_back({"M/service/S=8", measure});
}

}  // namespace OrvBench

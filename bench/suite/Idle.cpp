// Idle: what a service costs that has nothing to do, with 64 subscribers that have all received something before.
#include <ctime>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Load.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

const unsigned int SUBSCRIBERS = 64;

int64_t cpuTimeOfTheProcess()
{
    timespec time = timespec();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return time.tv_sec * NANOSECONDS + time.tv_nsec;
}

void measure(const Settings& settings)
{
    const std::unique_ptr<Channel> channel = makeChannel("service");
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = SUBSCRIBERS;
    Load load(*channel, channelOptions, options);
    load.saturate(0, 0);

    const int64_t seconds = settings.quick ? 1 : 10;
    const int64_t before = cpuTimeOfTheProcess();
    sleepUntil(nowNanoseconds() + seconds * NANOSECONDS);
    const int64_t spent = cpuTimeOfTheProcess() - before;
    channel->close();
    load.check();
    Figures("idle", "service", {{"S", SUBSCRIBERS}})
        .report("cpu_per_second", "ns", static_cast<double>(spent) / static_cast<double>(seconds));
}

}  // namespace

void addIdle(Cases& cases)
{
    cases.push_back({"idle/service/S=64", measure});
}

}  // namespace OrvBench

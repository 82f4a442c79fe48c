// I: what the machine has to do for a delivery while records are pushed as fast as the window allows: allocations for
// each copy of a record, and for each delivery system calls, context switches and starts of a delivery run. All are
// counted for the whole process, the producer included; its own share is a few system calls for each step of the load.
#include <sys/resource.h>

#include <cstdio>
#include <memory>
#include <string>

#include "Allocations.h"
#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Load.h"
#include "Peers.h"
#include "PoolStarts.h"
#include "SystemCalls.h"

namespace OrvBench
{

namespace
{

// To be made before any other thread is.
std::unique_ptr<SystemCalls> systemCallsIfAny()
{
    std::unique_ptr<SystemCalls> calls;
    try
    {
        calls = std::make_unique<SystemCalls>();
    }
    catch (const UnavailableChannel& error)
    {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return calls;
}

uint64_t contextSwitches()
{
    rusage usage = rusage();
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<uint64_t>(usage.ru_nvcsw) + static_cast<uint64_t>(usage.ru_nivcsw);
}

struct Counts
{
    uint64_t records;
    uint64_t systemCalls;
    uint64_t contextSwitches;
    uint64_t runs;
};

Counts countNow(const Load& load, const std::unique_ptr<SystemCalls>& systemCalls)
{
    return {load.published(), systemCalls ? systemCalls->count() : 0, contextSwitches(), PoolStarts::count()};
}

double perUnit(uint64_t before, uint64_t after, uint64_t units)
{
    return static_cast<double>(after - before) / static_cast<double>(units);
}

void measure(unsigned int subscribers, const Settings& settings)
{
    const std::unique_ptr<SystemCalls> systemCalls = systemCallsIfAny();
    const std::unique_ptr<Channel> channel = makeChannel("service");
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = subscribers;
    Load load(*channel, channelOptions, options);
    load.saturate(0, 0);

    const Counts before = countNow(load, systemCalls);
    load.measureRate(settings.quick);
    const Counts after = countNow(load, systemCalls);

    // Apart from the others, since counting costs more here.
    const uint64_t recordsBefore = load.published();
    Allocations::start();
    load.measureRate(settings.quick);
    const uint64_t allocations = Allocations::stop();
    // One for the producer, one for the store and one for each subscriber.
    const uint64_t copies = (load.published() - recordsBefore) * (2 + subscribers);
    channel->close();
    load.check();

    const uint64_t deliveries = (after.records - before.records) * subscribers;
    Figures figures("I", "service", {{"S", subscribers}});
    figures.report("allocations_per_copy", "1", perUnit(0, allocations, copies));
    if (systemCalls)
    {
        figures.report("system_calls_per_delivery", "1", perUnit(before.systemCalls, after.systemCalls, deliveries));
    }
    figures.report("context_switches_per_delivery", "1",
                   perUnit(before.contextSwitches, after.contextSwitches, deliveries));
    figures.report("runs_per_delivery", "1", perUnit(before.runs, after.runs, deliveries));
}

}  // namespace

void addEvents(Cases& cases)
{
    for (const unsigned int subscribers : {8U, 64U})
    {
        cases.push_back({"I/service/S=" + std::to_string(subscribers),
                         [subscribers](const Settings& settings) { measure(subscribers, settings); }});
    }
}

}  // namespace OrvBench

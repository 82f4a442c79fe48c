// E: how long the records of a burst take, when nothing has been under way before it.
#include <string>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Latencies.h"
#include "Load.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

const uint64_t BURST = 64;                   // records
const int64_t PAUSE = 2 * MILLISECOND;       // for every thread to fall asleep
const uint64_t MOST_RECORDS = 1000 * BURST;  // more than a second of bursts and pauses

void measure(const std::string& contestant, unsigned int subscribers, const Settings& settings)
{
    const std::unique_ptr<Channel> channel = makeChannel(contestant);
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    channelOptions.prompt = true;
    LoadOptions options;
    options.subscribers = subscribers;
    options.step = BURST;
    Latencies latencies(subscribers, MOST_RECORDS);
    Load load(*channel, channelOptions, options, &Latencies::receive);
    load.saturate(0, 0);
    const int64_t end = nowNanoseconds() + measuringTime(settings.quick);
    do
    {
        sleepUntil(nowNanoseconds() + PAUSE);
        for (uint64_t i = 0; i < BURST; ++i)
        {
            latencies.sending(load.published() + 1);
            load.push();
        }
        load.awaitAll();
        load.completeStep();
    } while (nowNanoseconds() < end);
    load.close();
    std::vector<int64_t> samples = latencies.samples();
    Figures figures("E", contestant, {{"S", subscribers}});
    figures.report("p50", "ns", quantile(samples, 0.5));
    figures.report("p99", "ns", quantile(samples, 0.99));
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addBurst(Cases& cases)
{
    std::vector<std::string> contestants = peerNames();
    contestants.insert(contestants.begin(), "service");
    for (const unsigned int subscribers : {8U, 64U})
    {
        for (const std::string& contestant : contestants)
        {
            cases.push_back({"E/" + contestant + "/S=" + std::to_string(subscribers),
                             [contestant, subscribers](const Settings& settings)
                             { measure(contestant, subscribers, settings); }});
        }
    }
}

}  // namespace OrvBench

// D: how long a record takes that finds everything idle.
#include <string>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Latencies.h"
#include "Load.h"
#include "Peers.h"
#include "TwoHops.h"

namespace OrvBench
{

namespace
{

const uint64_t WARM_UP = 10;  // records
const unsigned int MANY = 64;

// A lone subscriber of the service is held against the two-hop floor. That is measured right before and after it and in
// the same process, since it depends on the time and on the process as much as what is held against it.
class Floor
{
public:
    Floor(bool isMeasured, const Settings& settings) : _isMeasured(isMeasured), _count(settings.quick ? 10 : 500) {}

    void measure()
    {
        if (_isMeasured)
        {
            timeTwoHops(_count, _samples);
        }
    }

    void report()
    {
        if (_isMeasured)
        {
            Figures("floor", "floor", {}).report("two_hop", "ns", quantile(_samples, 0.5));
        }
    }

private:
    const bool _isMeasured;
    const unsigned int _count;
    std::vector<int64_t> _samples;
};

void measure(const std::string& contestant, unsigned int subscribers, const Settings& settings)
{
    // So many subscribers are not done with one record within a millisecond.
    const int64_t period = subscribers < MANY ? MILLISECOND : 3 * MILLISECOND;
    const auto records = static_cast<uint64_t>(measuringTime(settings.quick) / period);
    Floor floor(contestant == "service" && subscribers == 1, settings);
    floor.measure();
    const std::unique_ptr<Channel> channel = makeChannel(contestant);
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    channelOptions.prompt = true;
    LoadOptions options;
    options.subscribers = subscribers;
    options.step = 1;
    Latencies latencies(subscribers, WARM_UP + records);
    Load load(*channel, channelOptions, options, &Latencies::receive);
    std::vector<int64_t> pushes;
    int64_t time = nowNanoseconds();
    for (uint64_t i = 0; i < WARM_UP + records; ++i)
    {
        time += period;
        sleepUntil(time);
        load.awaitCredit();
        if (i >= WARM_UP)
        {
            latencies.sending(load.published() + 1);
        }
        const int64_t before = nowNanoseconds();
        load.push();
        pushes.push_back(nowNanoseconds() - before);
    }
    load.awaitAll();
    load.close();
    floor.measure();
    floor.report();
    std::vector<int64_t> samples = latencies.samples();
    Figures figures("D", contestant, {{"S", subscribers}});
    figures.report("p50", "ns", quantile(samples, 0.5));
    figures.report("p99", "ns", quantile(samples, 0.99));
    figures.report("push_p50", "ns", quantile(pushes, 0.5));
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addLowLoad(Cases& cases)
{
    std::vector<std::string> contestants = peerNames();
    contestants.insert(contestants.begin(), "service");
    for (const unsigned int subscribers : {1U, 8U, MANY})
    {
        for (const std::string& contestant : contestants)
        {
            cases.push_back({"D/" + contestant + "/S=" + std::to_string(subscribers),
                             [contestant, subscribers](const Settings& settings)
                             { measure(contestant, subscribers, settings); }});
        }
    }
}

}  // namespace OrvBench

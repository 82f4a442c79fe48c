// F: how long the producer's call takes while records are under way all the time.
#include <string>

#include "Cases.h"
#include "Figures.h"
#include "Load.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

void measure(const std::string& contestant, unsigned int subscribers, const Settings& settings)
{
    const std::unique_ptr<Channel> channel = makeChannel(contestant);
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = subscribers;
    Load load(*channel, channelOptions, options);
    std::vector<int64_t> samples = load.timePushes(settings.quick);
    load.close();
    Figures figures("F", contestant, {{"S", subscribers}});
    figures.report("p50", "ns", meanOfMiddle(samples));
    figures.report("p99", "ns", quantile(samples, 0.99));
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addPushCall(Cases& cases)
{
    std::vector<std::string> contestants = peerNames();
    contestants.insert(contestants.begin(), "service");
    for (const unsigned int subscribers : {1U, 8U, 64U})
    {
        for (const std::string& contestant : contestants)
        {
            cases.push_back({"F/" + contestant + "/S=" + std::to_string(subscribers),
                             [contestant, subscribers](const Settings& settings)
                             { measure(contestant, subscribers, settings); }});
        }
    }
}

}  // namespace OrvBench

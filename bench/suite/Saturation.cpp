// How many records per second get from the producer to all subscribers: A with a store of 5000 records, B with the
// default store. The growth with the number of subscribers, O, is that of A.
#include <string>

#include "Cases.h"
#include "Figures.h"
#include "Load.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

struct Saturation
{
    const char* scenario;
    std::string contestant;
    unsigned int subscribers;
    unsigned int storeSize;
    uint64_t window;
};

void measure(const Saturation& saturation, const Settings& settings)
{
    const std::unique_ptr<Channel> channel = makeChannel(saturation.contestant);
    ChannelOptions channelOptions;
    channelOptions.storeSize = saturation.storeSize;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = saturation.subscribers;
    options.window = saturation.window;
    options.step = saturation.window / 10;
    Load load(*channel, channelOptions, options);
    const double rate = load.measureRate(settings.quick);
    load.close();
    Figures figures(
        saturation.scenario, saturation.contestant,
        {{"S", saturation.subscribers}, {"K", saturation.storeSize}, {"W", static_cast<double>(saturation.window)}});
    figures.report("rate", "1/s", rate);
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

void add(Cases& cases, const Saturation& saturation)
{
    const std::string name =
        std::string(saturation.scenario) + "/" + saturation.contestant + "/S=" + std::to_string(saturation.subscribers);
    cases.push_back({name, [saturation](const Settings& settings) { measure(saturation, settings); }});
}

}  // namespace

void addSaturation(Cases& cases)
{
    std::vector<std::string> contestants = peerNames();
    contestants.insert(contestants.begin(), "service");
    for (const unsigned int subscribers : {1U, 8U, 64U, 256U})
    {
        for (const std::string& contestant : contestants)
        {
            add(cases, {"A", contestant, subscribers, 5000, 2500});
        }
    }
    for (const unsigned int subscribers : {16U, 32U, 128U})
    {
        add(cases, {"A", "service", subscribers, 5000, 2500});
    }
    for (const unsigned int subscribers : {1U, 8U, 64U, 256U})
    {
        add(cases, {"B", "service", subscribers, 100, 90});
    }
}

}  // namespace OrvBench

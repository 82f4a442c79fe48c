// C: what a notification costs as the store grows. Up to 5000 records all is as with the smallest store but its size;
// with the great ones all is as in A.
#include <string>

#include "Cases.h"
#include "Figures.h"
#include "Load.h"
#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

const unsigned int GREAT = 5000;

void measure(unsigned int subscribers, unsigned int storeSize, const Settings& settings)
{
    ServiceChannel channel;
    ChannelOptions channelOptions;
    channelOptions.storeSize = storeSize;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = subscribers;
    options.window = storeSize > GREAT ? 2500 : 90;
    options.step = options.window / 10;
    Load load(channel, channelOptions, options);
    const double rate = load.measureRate(settings.quick);
    load.close();
    Figures figures("C", "service", {{"S", subscribers}, {"K", storeSize}, {"W", static_cast<double>(options.window)}});
    figures.report("rate", "1/s", rate);
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addStoreGrowth(Cases& cases)
{
    for (const unsigned int subscribers : {1U, 8U})
    {
        for (const unsigned int storeSize : {100U, 500U, 1000U, 2000U, GREAT, 20000U, 100000U})
        {
            cases.push_back({"C/service/S=" + std::to_string(subscribers) + "/K=" + std::to_string(storeSize),
                             [subscribers, storeSize](const Settings& settings)
                             { measure(subscribers, storeSize, settings); }});
        }
    }
}

}  // namespace OrvBench

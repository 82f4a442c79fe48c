// L: what one subscriber that cannot keep up costs the others and the producer. Its queue overflows again and again.
#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Load.h"
#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

const unsigned int OTHERS = 7;

void receive(unsigned int subscriber, uint64_t number)
{
    if (subscriber == OTHERS)
    {
        sleepUntil(nowNanoseconds() + MILLISECOND);
    }
    Load::receive(subscriber, number);
}

void measure(const Settings& settings)
{
    ServiceChannel channel;
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = OTHERS;
    options.laggards = 1;
    Load load(channel, channelOptions, options, receive);
    const double rate = load.measureRate(settings.quick);
    std::vector<int64_t> pushes = load.timePushes(settings.quick);
    load.close();
    Figures figures("L", "service", {{"S", OTHERS + 1}});
    figures.report("rate", "1/s", rate);
    figures.report("push_p50", "ns", meanOfMiddle(pushes));
    figures.report("push_p99", "ns", quantile(pushes, 0.99));
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addSlowOne(Cases& cases)
{
    cases.push_back({"L/service/S=8", measure});
}

}  // namespace OrvBench

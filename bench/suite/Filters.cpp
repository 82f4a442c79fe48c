// What filters cost: 64 subscribers of which one accepts and the others refuse, by an expression or by a subtree, and
// 64 that all accept by an expression.
#include <regex.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <ctime>
#include <stdexcept>
#include <string>
#include <vector>

#include "Allocations.h"
#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "FilteredChannel.h"
#include "Load.h"
#include "Peers.h"
#include "RefusalRun.h"

namespace OrvBench
{

namespace
{

const unsigned int SUBSCRIBERS = 64;
const unsigned int REFUSING = SUBSCRIBERS - 1;

struct Kind
{
    const char* name;
    const char* expression;  // refuses the record of a RefusalRun; for the subtree, the same test written as one
};

// The last one, which means the same as the first, is for the C library alone: no filter answers it by itself.
const Kind KINDS[] = {{"prefix", "ManagedElement=ne-00002,.*"},
                      {"dot_star_end", "ManagedElement=ne-00002,.*$"},
                      {"alternation", "(ManagedElement=ne-00002|ManagedElement=ne-00003),.*"},
                      {"subtree", "ManagedElement=ne-00001,interfaces=1,interface=[^,]*,address=02"},
                      {"regexec", "[M]+anagedElement=ne-00002,.*"}};

std::string nameOf(const char* contestant, const char* kind)
{
    return std::string(contestant) + "-" + kind;
}

Figures figuresOf(const char* contestant, const char* kind)
{
    return Figures("H", nameOf(contestant, kind), {{"S", static_cast<double>(SUBSCRIBERS)}});
}

// Each batch with refusing subscribers has one without beside it.
void measureRefusals(const Kind& kind, const Settings& settings)
{
    const Refusal refusal =
        std::strcmp(kind.name, "subtree") == 0 ? Refusal::subtree() : Refusal("objectCreated", kind.expression);
    RefusalRun run(settings.library);
    const unsigned int records = settings.quick ? 100 : 2000;
    const double offers = static_cast<double>(records) * REFUSING;
    std::vector<int64_t> picoseconds;
    for (int i = 0; i < (settings.quick ? 1 : 7); ++i)
    {
        const int64_t without = run.serviceTime(records);
        run.subscribe(REFUSING, refusal);
        const int64_t with = run.serviceTime(records);
        run.unsubscribeAll();
        picoseconds.push_back(static_cast<int64_t>(static_cast<double>(with - without) * 1000 / offers));
    }
    const auto without = static_cast<double>(run.allocations(records));
    run.subscribe(REFUSING, refusal);
    const auto with = static_cast<double>(run.allocations(records));
    run.unsubscribeAll();
    run.check();

    Figures figures = figuresOf("service", kind.name);
    figures.report("refused_offer", "ns", quantile(picoseconds, 0.5) / 1000);
    // In how many batches the messages are taken out of the pipe is the machine's affair, and costs an allocation now
    // and then: to a hundredth the figure is the filters' own.
    figures.report("refused_allocations", "1", std::round(std::max(with - without, 0.0) / offers * 100) / 100);
}

// Of the calling thread, in nanoseconds.
int64_t cpuTime()
{
    timespec time = timespec();
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return time.tv_sec * NANOSECONDS + time.tv_nsec;
}

// What the C library alone needs for the same: a refusing filter is asked twice, for the DN and for the DN with a comma
// behind it.
void measureExpression(const Kind& kind, const Settings& settings)
{
    regex_t compiled;
    if (regcomp(&compiled, kind.expression, REG_EXTENDED) != 0)
    {
        throw std::runtime_error("the expression does not compile");
    }
    const std::string dn(RefusalRun::dn());
    const std::string subjects[] = {dn, dn + ","};
    std::vector<int64_t> picoseconds;
    const int repetitions = settings.quick ? 1 : 7;
    const int rounds = settings.quick ? 100 : 20000;
    for (int i = 0; i < repetitions; ++i)
    {
        int matches = 0;
        const int64_t before = cpuTime();
        for (int round = 0; round < rounds; ++round)
        {
            for (const std::string& subject : subjects)
            {
                regmatch_t place;
                matches += regexec(&compiled, subject.c_str(), 1, &place, 0) == 0 ? 1 : 0;
            }
        }
        picoseconds.push_back((cpuTime() - before) * 1000 / rounds);
        if (matches != 0)
        {
            throw std::runtime_error("the expression accepts what it should refuse");
        }
    }
    regfree(&compiled);
    figuresOf("floor", kind.name).report("regexec", "ns", quantile(picoseconds, 0.5) / 1000);
}

void measureAcceptance(const Settings& settings)
{
    FilteredChannel channel({"objectCreated", ".*"});
    ChannelOptions channelOptions;
    channelOptions.library = settings.library;
    LoadOptions options;
    options.subscribers = SUBSCRIBERS;
    Load load(channel, channelOptions, options);
    const double rate = load.measureRate(settings.quick);
    channel.close();
    load.check();
    Figures figures("H", "service", {{"S", static_cast<double>(SUBSCRIBERS)}});
    figures.report("rate", "1/s", rate);
    figures.report("nudges", "1", static_cast<double>(load.nudges()));
}

}  // namespace

void addFilters(Cases& cases)
{
    for (const Kind& kind : KINDS)
    {
        cases.push_back({"H/" + nameOf("service", kind.name) + "/S=64",
                         [&kind](const Settings& settings) { measureRefusals(kind, settings); }});
        cases.push_back({"H/" + nameOf("floor", kind.name),
                         [&kind](const Settings& settings) { measureExpression(kind, settings); }});
    }
    cases.push_back({"H/service/S=64", measureAcceptance});
}

}  // namespace OrvBench

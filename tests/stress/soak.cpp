// Load for as long as wanted: 64 subscribers of mixed speed, replaced all the time, 5 producers, overflows, clock
// changes and restarts, judged by the oracle of the stress program. At the end nothing has grown and every record is
// accounted for; then misbehaving subscribers are measured beside good ones.
#include <CLI/CLI.hpp>

#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Plot.h"
#include "SideBySide.h"
#include "Usage.h"
#include "World.h"

namespace
{

using OrvStress::Account;
using OrvStress::Accounts;
using OrvStress::Manner;
using OrvStress::MANNERS;
using OrvStress::Usage;
using OrvStress::World;

// Resident memory also has what malloc's arenas and the stacks of ended threads keep; what is lost shows in the heap.
const double RESIDENT_GROWTH = 3;  // megabytes, at most
const double HEAP_GROWTH = 0.25;   // megabytes, at most
const double LARGEST_RATIO = 1.1;  // side by side
const unsigned int ROUNDS = 80;    // side by side
const double WARM_UP_MINUTES = 1;

OrvStress::Scenario scenario()
{
    OrvStress::Scenario scenario = OrvStress::Scenario();
    scenario.bufferSize = 200;
    scenario.subscribers = 64;
    // fast, slow, retrying, retrying always, stuck, deregistering, throwing, odd
    scenario.habits.manners = {26, 12, 8, 4, 4, 4, 4, 2};
    scenario.habits.shortestLife = 500;
    scenario.habits.longestLife = 30000;
    scenario.habits.timers = true;
    scenario.habits.replays = true;
    scenario.producerPause = std::chrono::microseconds(3000);
    scenario.pushesPerEvent = 3000;
    scenario.eventsPerRestart = 8;
    return scenario;
}

struct Sample
{
    double minutes;
    Usage usage;
    double underWay;  // records pushed that have not reached the witness
    double median;    // of the fast subscribers' latencies since the last sample, microseconds
    double tail;      // the 99th percentile of these
};

// Looks at the process once a second, and whenever nothing of the service runs.
class Sampler
{
public:
    Sampler(World& world, unsigned int minutes) : _world(world), _begin(std::chrono::steady_clock::now())
    {
        _samples.reserve(60 * (minutes + 2));
        _resting.reserve(60 * (minutes + 2));
        world.whenStopped([this] { rest(); });
        _thread = std::thread(&Sampler::run, this);
    }

    void stop()
    {
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _ending = true;
            _changed.notify_all();
        }
        _thread.join();
    }

    double minutes() const
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - _begin).count() / 60;
    }
    const std::vector<Sample>& samples() const { return _samples; }
    const std::vector<Sample>& resting() const { return _resting; }

private:
    // What malloc keeps for later is given back first, so that only what is held counts. A thread that has been joined
    // may be listed a moment longer.
    void rest()
    {
        malloc_trim(0);
        Usage usage = Usage::now();
        for (int i = 0; i < 50; ++i)
        {
            usage.threads = std::min(usage.threads, Usage::now().threads);
        }
        _resting.push_back({minutes(), usage, 0, 0, 0});
    }

    void run()
    {
        std::array<uint64_t, Accounts::BUCKETS> before = {};
        std::unique_lock<std::mutex> lock(_mutex);
        auto next = _begin;
        while (!_changed.wait_until(lock, next += std::chrono::seconds(1), [this] { return _ending; }))
        {
            const auto all = _world.accounts().latencies(Manner::Fast);
            std::array<uint64_t, Accounts::BUCKETS> since = {};
            for (unsigned int i = 0; i < Accounts::BUCKETS; ++i)
            {
                since[i] = all[i] - before[i];
            }
            before = all;
            _samples.push_back({minutes(), Usage::now(), static_cast<double>(_world.ledger().underWay()),
                                Accounts::quantile(since, 0.5), Accounts::quantile(since, 0.99)});
        }
    }

    World& _world;
    const std::chrono::steady_clock::time_point _begin;
    std::vector<Sample> _samples;  // the thread's own until stop
    std::vector<Sample> _resting;
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _ending = false;
    std::thread _thread;
};

void printAccounts(World& world)
{
    std::printf("\n%-16s %8s %12s %12s %12s %10s %10s %9s %9s\n", "subscribers", "number", "delivered", "purged",
                "overflows", "refused", "again", "p50 us", "p99 us");
    for (unsigned int i = 0; i <= MANNERS; ++i)
    {
        const Manner manner = static_cast<Manner>(i);
        const bool isSum = i == MANNERS;
        const Account account = isSum ? world.accounts().total() : world.accounts().of(manner);
        std::printf("%-16s %8" PRIu64 " %12" PRIu64 " %12" PRIu64 " %12" PRIu64 " %10" PRIu64 " %10" PRIu64,
                    isSum ? "all" : nameOf(manner), account.subscriptions, account.delivered, account.purged,
                    account.overflows, account.refused, account.offeredAgain);
        if (!isSum)
        {
            const auto latencies = world.accounts().latencies(manner);
            std::printf(" %9.0f %9.0f", Accounts::quantile(latencies, 0.5), Accounts::quantile(latencies, 0.99));
        }
        std::printf("\n");
    }
    const Account sum = world.accounts().total();
    const OrvStress::Ledger& ledger = world.ledger();
    std::printf("\npushed %" PRIu64 ", of these refused %" PRIu64 " as not running and %" PRIu64
                " for their stamp; %" PRIu64 " restarts, %" PRIu64 " clock changes\n",
                ledger.pushes(), ledger.pushesRefused(), ledger.stampsRefused(), ledger.restarts(),
                ledger.clockChanges());
    std::printf("judged with certainty: %" PRIu64 " gaps, %" PRIu64 " seams, %" PRIu64 " ends of replays, %" PRIu64
                " purges; missing without explanation, or wrong otherwise: %" PRIu64 "\n",
                sum.gapsJudged, sum.seamsJudged, sum.endsJudged, sum.purgesMeasured, world.complaints().count());
}

void printRow(const char* what, const Sample& sample)
{
    std::printf("%-28s %8.1f min %10.1f MB %10.2f MB %8u %12u\n", what, sample.minutes, sample.usage.residentMegabytes,
                sample.usage.heapMegabytes, sample.usage.threads, sample.usage.descriptors);
}

// Compared are the moments at which the component is stopped: the first after the warm-up, and the last.
bool nothingHasGrown(const Sampler& sampler)
{
    const std::vector<Sample>& resting = sampler.resting();
    size_t first = 0;
    while (first < resting.size() && resting[first].minutes < WARM_UP_MINUTES)
    {
        ++first;
    }
    if (first + 1 >= resting.size())
    {
        std::printf("too short to compare: the component was stopped less than twice after the first minute\n");
        return false;
    }
    const Sample& before = resting[first];
    const Sample& after = resting.back();
    std::printf("\n%-28s %12s %13s %13s %8s %12s\n", "while stopped", "after", "resident", "heap in use", "threads",
                "descriptors");
    printRow("first after the warm-up", before);
    printRow("last", after);
    return after.usage.residentMegabytes <= before.usage.residentMegabytes + RESIDENT_GROWTH &&
           after.usage.heapMegabytes <= before.usage.heapMegabytes + HEAP_GROWTH &&
           after.usage.threads <= before.usage.threads && after.usage.descriptors <= before.usage.descriptors;
}

void writePlot(const Sampler& sampler, const std::string& path)
{
    std::vector<double> times;
    std::vector<double> resident;
    std::vector<double> heap;
    std::vector<double> threads;
    std::vector<double> underWay;
    std::vector<double> median;
    std::vector<double> tail;
    for (const Sample& sample : sampler.samples())
    {
        times.push_back(sample.minutes);
        resident.push_back(sample.usage.residentMegabytes);
        heap.push_back(sample.usage.heapMegabytes);
        threads.push_back(sample.usage.threads);
        underWay.push_back(sample.underWay);
        median.push_back(sample.median);
        tail.push_back(sample.tail);
    }
    OrvStress::Plot plot(times);
    plot.add("memory, MB", false, {{"resident", "#1f77b4", resident}, {"heap in use", "#2ca02c", heap}});
    plot.add("threads of the process", false, {{"threads", "#9467bd", threads}});
    plot.add("queue: records pushed that have not reached the witness", false, {{"records", "#d62728", underWay}});
    plot.add("latency of fast subscribers, us", true, {{"p50", "#1f77b4", median}, {"p99", "#d62728", tail}});
    std::ofstream(path) << plot.svg();
    std::printf("plot: %s\n", path.c_str());
}

bool soak(unsigned int minutes, const std::string& plot, uint64_t seed)
{
    std::printf("seed %" PRIu64 "\n", seed);
    std::fflush(stdout);
    World world(scenario(), seed);
    Sampler sampler(world, minutes);
    world.start();
    unsigned int reported = 0;
    while (sampler.minutes() < minutes && world.complaints().count() == 0 && world.next())
    {
        if (sampler.minutes() >= reported + 1)
        {
            reported = static_cast<unsigned int>(sampler.minutes());
            std::printf("%u minutes: %" PRIu64 " pushed, %.1f MB\n", reported, world.ledger().pushes(),
                        Usage::now().residentMegabytes);
            std::fflush(stdout);
        }
    }
    world.finish();
    sampler.stop();
    printAccounts(world);
    const bool same = nothingHasGrown(sampler);
    writePlot(sampler, plot);
    return same && world.complaints().count() == 0;
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App program("64 subscribers of mixed speed, producers, clock changes and restarts; then a comparison.");
    unsigned int minutes = 0;
    std::string plot;
    uint64_t seed = std::random_device()();
    program.add_option("MINUTES", minutes, "how long; 0 for the comparison alone")->required();
    program.add_option("PLOT", plot, "the SVG file to write")->required();
    program.add_option("SEED", seed, "what to try; by chance if none is given");
    CLI11_PARSE(program, argc, argv);

    const bool sound = minutes == 0 || soak(minutes, plot, seed);
    const double worst = OrvStress::measureSideBySide(ROUNDS);
    const bool fair = worst <= LARGEST_RATIO;
    std::printf("largest ratio %.2f, wanted at most %.2f\n", worst, LARGEST_RATIO);
    std::printf("%s\n", sound && fair ? "nothing wrong" : "something is wrong, see above");
    return sound && fair ? 0 : 1;
}

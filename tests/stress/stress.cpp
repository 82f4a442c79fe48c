// Producers, subscribers that come and go, clock changes and restarts, all at once, against an oracle that knows what
// each subscriber may and must have seen. Runs for a while; the seed decides what is tried, not how threads interleave.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "World.h"

namespace
{

using OrvStress::Account;
using OrvStress::World;

const unsigned int REPORT_SECONDS = 60;

OrvStress::Scenario scenario()
{
    OrvStress::Scenario scenario = OrvStress::Scenario();
    scenario.bufferSize = 400;
    scenario.subscribers = 20;
    // fast, slow, retrying, retrying always, stuck, deregistering, throwing, odd
    scenario.habits.manners = {8, 3, 3, 1, 1, 1, 2, 2};
    scenario.habits.shortestLife = 1;
    scenario.habits.longestLife = 4000;
    scenario.habits.timers = true;
    scenario.habits.replays = true;
    scenario.producerPause = std::chrono::microseconds(0);
    scenario.pushesPerEvent = 1500;
    scenario.eventsPerRestart = 8;
    return scenario;
}

void report(World& world)
{
    const OrvStress::Ledger& ledger = world.ledger();
    const Account sum = world.accounts().total();
    std::printf("pushed %" PRIu64 " (refused: %" PRIu64 " as not running, %" PRIu64 " for their stamp), %" PRIu64
                " restarts, %" PRIu64 " clock changes (%" PRIu64 " told)\n",
                ledger.pushes(), ledger.pushesRefused(), ledger.stampsRefused(), ledger.restarts(),
                ledger.clockChanges(), ledger.clockChangesTold());
    std::printf("%" PRIu64 " subscriptions: %" PRIu64 " records (%" PRIu64 " replayed), %" PRIu64
                " offered again, %" PRIu64 " purged by %" PRIu64 " overflows (%" PRIu64 " measured), %" PRIu64
                " refused\n",
                sum.subscriptions, sum.delivered, sum.replayed, sum.offeredAgain, sum.purged, sum.overflows,
                sum.purgesMeasured, sum.refused);
    std::printf("%" PRIu64 " gaps (%" PRIu64 " judged), %" PRIu64 " seams and %" PRIu64
                " ends of replays judged, %" PRIu64 " notices, %" PRIu64 " heartbeats, %" PRIu64 " completions\n",
                sum.gaps, sum.gapsJudged, sum.seamsJudged, sum.endsJudged, sum.notices, sum.heartbeats,
                sum.completions);
    std::fflush(stdout);
}

// A run in which something was never tried proves nothing about it.
void requireVariety(World& world)
{
    const Account sum = world.accounts().total();
    const uint64_t counts[] = {sum.delivered,
                               sum.replayed,
                               sum.offeredAgain,
                               sum.overflows,
                               sum.purgesMeasured,
                               sum.gapsJudged,
                               sum.seamsJudged,
                               sum.endsJudged,
                               sum.notices,
                               sum.heartbeats,
                               sum.completions,
                               world.ledger().restarts(),
                               world.ledger().stampsRefused()};
    for (const uint64_t count : counts)
    {
        if (count == 0)
        {
            world.complaints().add("the run was too short: something was never tried");
            return;
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3 || std::atol(argv[1]) <= 0)
    {
        std::fprintf(stderr, "Usage: %s SECONDS [SEED]\n", argv[0]);
        return 2;
    }
    const auto seconds = std::chrono::seconds(std::atol(argv[1]));
    const uint64_t seed = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : std::random_device()();
    std::printf("seed %" PRIu64 "\n", seed);
    std::fflush(stdout);

    World world(scenario(), seed);
    world.start();
    const auto begin = std::chrono::steady_clock::now();
    auto nextReport = begin + std::chrono::seconds(REPORT_SECONDS);
    while (std::chrono::steady_clock::now() - begin < seconds && world.complaints().count() == 0 && world.next())
    {
        if (std::chrono::steady_clock::now() >= nextReport)
        {
            nextReport += std::chrono::seconds(REPORT_SECONDS);
            report(world);
        }
    }
    world.finish();
    report(world);
    if (world.complaints().count() == 0)
    {
        requireVariety(world);
    }
    if (world.complaints().count() != 0)
    {
        std::printf("%" PRIu64 " complaints; again with: %s %s %" PRIu64 "\n", world.complaints().count(), argv[0],
                    argv[1], seed);
        return 1;
    }
    std::printf("nothing wrong\n");
    return 0;
}

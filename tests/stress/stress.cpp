// Producers, subscribers that come and go, clock changes and restarts, all at once, against an oracle that knows what
// each subscriber may and must have seen. Runs for a while; the seed decides what is tried, not how threads interleave.
#include <CLI/CLI.hpp>

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <random>
#include <string>
#include <utility>

#include "World.h"

namespace
{

using OrvStress::Account;
using OrvStress::World;

const unsigned int REPORT_SECONDS = 60;
const unsigned int MOST_SECONDS = 1000000;

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
                " ends of replays judged, %" PRIu64 " notices, %" PRIu64 " heartbeats, %" PRIu64
                " completions; %" PRIu64 " derived deletes, %" PRIu64 " control records with a DN\n",
                sum.gaps, sum.gapsJudged, sum.seamsJudged, sum.endsJudged, sum.notices, sum.heartbeats, sum.completions,
                sum.derivedDeletes, sum.derivedControls);
    std::fflush(stdout);
}

// A run in which something was never tried proves nothing about it.
void requireVariety(World& world)
{
    const Account sum = world.accounts().total();
    const std::pair<const char*, uint64_t> counts[] = {
        {"a delivery", sum.delivered},
        {"a replay", sum.replayed},
        {"a retry", sum.offeredAgain},
        {"an overflow", sum.overflows},
        {"an overflow whose loss could be compared with the limit", sum.purgesMeasured},
        {"a gap or none that is certain", sum.gapsJudged},
        {"a seam that is certain", sum.seamsJudged},
        {"an end of a replay that is certain", sum.endsJudged},
        {"a notice of a clock change", sum.notices},
        {"a heartbeat", sum.heartbeats},
        {"a stop time", sum.completions},
        {"a delete that a subtree filter has derived", sum.derivedDeletes},
        {"a control record with the DN of a delete", sum.derivedControls},
        {"a restart", world.ledger().restarts()},
        {"a refusal for the stamp", world.ledger().stampsRefused()}};
    for (const auto& [what, count] : counts)
    {
        if (count == 0)
        {
            world.complaints().add(std::string("the run was too short, it had no such thing: ") + what);
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App program("Producers, subscribers that come and go, clock changes and restarts, judged by an oracle.");
    unsigned int seconds = 0;
    uint64_t seed = std::random_device()();
    program.add_option("SECONDS", seconds, "how long")->required()->check(CLI::Range(1u, MOST_SECONDS));
    program.add_option("SEED", seed, "what to try; by chance if none is given");
    CLI11_PARSE(program, argc, argv);
    std::printf("seed %" PRIu64 "\n", seed);
    std::fflush(stdout);

    World world(scenario(), seed);
    world.start();
    const auto begin = std::chrono::steady_clock::now();
    const auto end = begin + std::chrono::seconds(seconds);
    auto nextReport = begin + std::chrono::seconds(REPORT_SECONDS);
    while (std::chrono::steady_clock::now() < end && world.complaints().count() == 0 && world.next())
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
        std::printf("%" PRIu64 " complaints; again with: %s %u %" PRIu64 "\n", world.complaints().count(), argv[0],
                    seconds, seed);
        return 1;
    }
    std::printf("nothing wrong\n");
    return 0;
}

// The subtree filter against a second, deliberately plain evaluation, over random models, trees and notifications.
// The same cases run everywhere, unless the environment asks for others:
//   ORV_FILTER_SEED=n    the first seed of the first shard; 1 is the usual one. Each seed is printed before it is
//   tried,
//                        which tells the one that ends the process
//   ORV_FILTER_CASES=n   notifications that each shard matches
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "FilterFindings.h"

namespace OrvTest
{

namespace
{

const unsigned int SHARDS = 10;
const unsigned int ENOUGH_FOR_A_MIX = 12000;  // in a shard; in fewer the rare kinds may be rarer
// The release build compares 120,000. The sanitizers, under which a case takes ten and twenty times as long, look at
// the memory of some of these, and at what is one thread's alone.
#if defined(__SANITIZE_THREAD__)
const unsigned int NOTIFICATIONS_PER_SHARD = 1200;
#elif defined(__SANITIZE_ADDRESS__)
const unsigned int NOTIFICATIONS_PER_SHARD = 4000;
#else
const unsigned int NOTIFICATIONS_PER_SHARD = ENOUGH_FOR_A_MIX;
#endif
const unsigned int SEEDS_PER_SHARD = 1000000;

// How a case differs that can lose no further piece without agreeing.
std::string smallestDifference(FilterCase failing)
{
    Mix unused;
    std::string found = difference(failing, unused);
    for (bool smaller = true; smaller;)
    {
        smaller = false;
        for (const FilterCase& candidate : smallerCases(failing))
        {
            const std::string differs = difference(candidate, unused);
            if (!differs.empty())
            {
                failing = candidate;
                found = differs;
                smaller = true;
                break;
            }
        }
    }
    return found + "\n" + describe(failing);
}

unsigned int environmentOr(const char* name, unsigned int usual)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? usual : static_cast<unsigned int>(std::strtoul(text, nullptr, 10));
}

// Cases of successive seeds, until that many notifications have been matched or a case differs.
Mix compare(unsigned int seed, unsigned int notifications)
{
    Mix mix;
    for (; mix.matched < notifications; ++seed)
    {
        if (std::getenv("ORV_FILTER_SEED") != nullptr)
        {
            std::printf("seed %u\n", seed);
            std::fflush(stdout);
        }
        const FilterCase filterCase = randomFilterCase(seed);
        const std::string found = difference(filterCase, mix);
        if (!found.empty())
        {
            ADD_FAILURE() << "seed " << seed << ": " << found << "\nThe smallest such case, "
                          << smallestDifference(filterCase);
            break;
        }
    }
    return mix;
}

void print(const Mix& mix)
{
    const double percent = mix.matched / 100.0;
    std::printf("%u notifications in %u sequences. In percent of them:\n", mix.matched, mix.sequences);
    std::printf("  passed %.1f, after reads %.1f; a read failed %.1f; odd DN %.1f\n", mix.passed / percent,
                mix.readAndPassed / percent, mix.leftOpen / percent, mix.oddDns / percent);
    std::printf("  derived two or more %.1f, with a grown key %.1f, key unknown %.1f, for a control record %.1f\n",
                mix.derivedTwo / percent, mix.grownKeys / percent, mix.keysUnknown / percent,
                mix.controlDerived / percent);
    std::printf("  reduced %.1f, selection of another record dropped %.1f\n", mix.reduced / percent,
                mix.dropped / percent);
}

class RfcFilterDifferential : public testing::TestWithParam<unsigned int>
{
};

}  // namespace

TEST_P(RfcFilterDifferential, AgreesWithThePlainEvaluation)
{
    const bool usual = std::getenv("ORV_FILTER_SEED") == nullptr && std::getenv("ORV_FILTER_CASES") == nullptr;
    const unsigned int seed = environmentOr("ORV_FILTER_SEED", 1) + GetParam() * SEEDS_PER_SHARD;
    const Mix mix = compare(seed, environmentOr("ORV_FILTER_CASES", NOTIFICATIONS_PER_SHARD));
    print(mix);
    if (!usual || HasFailure())
    {
        return;
    }
    EXPECT_GE(mix.matched, NOTIFICATIONS_PER_SHARD);
    if (mix.matched < ENOUGH_FOR_A_MIX)
    {
        return;
    }

    // Cases that nearly all fail, or nearly all pass, would prove little.
    const double percent = mix.matched / 100.0;
    EXPECT_GT(mix.passed, 30 * percent);
    EXPECT_LT(mix.passed, 70 * percent);
    EXPECT_GT(mix.readAndPassed, 10 * percent);
    EXPECT_GT(mix.leftOpen, 4 * percent);
    EXPECT_GT(mix.oddDns, 10 * percent);
    EXPECT_GT(mix.derivedTwo, 5 * percent);
    EXPECT_GT(mix.grownKeys, 3 * percent);
    EXPECT_GT(mix.keysUnknown, 0.5 * percent);
    EXPECT_GT(mix.controlDerived, 0.5 * percent);
    EXPECT_GT(mix.reduced, 2 * percent);
    EXPECT_GT(mix.dropped, 0.2 * percent);
}

INSTANTIATE_TEST_SUITE_P(Shards, RfcFilterDifferential, testing::Range(0U, SHARDS));

}  // namespace OrvTest

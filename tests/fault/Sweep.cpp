#include "Sweep.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <limits>
#include <stdexcept>

namespace OrvTest
{

namespace
{

const unsigned int NEVER = std::numeric_limits<unsigned int>::max();
const unsigned int MOST_SURPRISES = 3;

const char* nameOf(Outcome outcome)
{
    switch (outcome)
    {
        case Outcome::passed:
            return "passed";
        case Outcome::refused:
            return "refused";
        case Outcome::threw:
            return "threw";
        case Outcome::dropped:
            return "dropped";
        case Outcome::threadEnded:
            return "service thread ended";
        case Outcome::aborted:
            return "aborted";
        case Outcome::terminated:
            return "terminated";
        case Outcome::notSurvived:
            return "not survived";
        default:
            return "defective";
    }
}

const char* nameOf(Actor actor)
{
    static const char* const names[] = {"caller", "service thread", "pool threads"};
    return names[static_cast<int>(actor)];
}

const char* nameOf(Operation operation)
{
    static const char* const names[] = {"allocate", "lock",    "tryLock", "unlock", "createThread", "wait",
                                        "pause",    "compile", "open",    "read",   "write"};
    return names[static_cast<int>(operation)];
}

const char* nameOf(Ending ending)
{
    static const char* const names[] = {"finished", "aborted", "terminated", "crashed", "failed", "hung"};
    return names[static_cast<int>(ending)];
}

std::string namesOf(const Outcomes& outcomes)
{
    std::string names;
    for (const Outcome outcome : outcomes)
    {
        names += std::string(names.empty() ? "" : ", ") + nameOf(outcome);
    }
    return names;
}

std::string namesOf(const Turns& turns)
{
    std::string names;
    for (const Turn& turn : turns)
    {
        names += (names.empty() ? "" : ", ") + std::to_string(turn.calls) + " " + nameOf(turn.outcome);
    }
    return names;
}

void addTo(Turns& turns, Outcome outcome)
{
    if (turns.empty() || turns.back().outcome != outcome)
    {
        turns.push_back({outcome, 0});
    }
    ++turns.back().calls;
}

bool isSame(const Turns& seen, const Turns& expected)
{
    const auto fits = [](const Turn& one, const Turn& wanted)
    { return one.outcome == wanted.outcome && (wanted.calls == 0 || one.calls == wanted.calls); };
    return std::equal(seen.begin(), seen.end(), expected.begin(), expected.end(), fits);
}

// A line of the place is the name of a function, for some of the C library with underscores, and where it is.
bool isInside(const Facts& facts, const std::string& function)
{
    const std::string place = facts.place;
    return !function.empty() && (place.find("  " + function + " ") != std::string::npos ||
                                 place.find("  __" + function + " ") != std::string::npos);
}

void takeBack(const FaultKind& kind, FakeFramework& framework, Facts& facts)
{
    if (facts.met)
    {
        return;
    }
    facts.met = kind.disarm(framework);
    notePlace(facts);
}

void run(const Scenario& scenario, const FaultKind& kind, unsigned int nth, Facts& facts)
{
    FaultLayer::watch();
    const auto arm = [&](FakeFramework& framework) { kind.arm(framework, nth); };
    World world(scenario.fromLoading ? arm : std::function<void(FakeFramework&)>());
    CallPlan& plan = world.framework.plan();
    if (scenario.prepare)
    {
        scenario.prepare(world);
    }
    if (!scenario.from.empty())
    {
        plan.whenCalled(scenario.from, [&] { arm(world.framework); });
    }
    else if (!scenario.fromLoading)
    {
        arm(world.framework);
    }
    if (!scenario.until.empty())
    {
        plan.whenCalled(scenario.until, [&] { takeBack(kind, world.framework, facts); });
    }
    try
    {
        facts.answer = scenario.act(world);
    }
    catch (const std::runtime_error&)
    {
        throw;  // of the test's own
    }
    catch (const std::exception&)
    {
        facts.threw = true;
    }
    takeBack(kind, world.framework, facts);
    plan.whenCalled(scenario.from, nullptr);
    plan.whenCalled(scenario.until, nullptr);
    world.examine(facts);
    facts.effect = !scenario.effect || scenario.effect(world);
    world.leave(facts);
}

std::string defectsOf(const RunReport& report, const Expectation& expected)
{
    const Facts& facts = report.facts;
    std::string defects;
    const auto check = [&defects](bool fine, const std::string& what)
    {
        if (!fine)
        {
            defects += " [" + what + "]";
        }
    };
    check(facts.trouble[0] == '\0', facts.trouble);
    check(facts.served, "the healthy subscriber is not served");
    check(facts.entriesWork, "not every entry works");
    check(facts.stopped, "it did not stop");
    check(facts.held == 0, std::to_string(facts.held) + " mutexes are held");
    check(facts.threads <= expected.lostThreads, std::to_string(facts.threads) + " threads are left");
    check(facts.unjoined <= expected.lostThreads, std::to_string(facts.unjoined) + " threads are not joined");
    check(facts.consumers <= expected.leftConsumers,
          std::to_string(facts.consumers) + " consumers are left at the router");
    check(facts.blocks <= expected.lostBlocks, std::to_string(facts.blocks) + " blocks are left");
    check(facts.foreignBlocks <= expected.lostForeignBlocks,
          std::to_string(facts.foreignBlocks) + " blocks of libraries are left");
    return defects;
}

Outcome outcomeOf(const RunReport& report, const Expectation& expected)
{
    switch (report.ending)
    {
        case Ending::aborted:
            return Outcome::aborted;
        case Ending::terminated:
            return Outcome::terminated;
        case Ending::crashed:
            return Outcome::notSurvived;
        case Ending::finished:
            break;
        default:
            return Outcome::defective;
    }
    const Facts& facts = report.facts;
    if (!defectsOf(report, expected).empty())
    {
        return Outcome::defective;
    }
    if (facts.threw)
    {
        return Outcome::threw;
    }
    if (facts.threadEnded)
    {
        return Outcome::threadEnded;
    }
    if (facts.answer != OrvOk)
    {
        return Outcome::refused;
    }
    return facts.effect ? Outcome::passed : Outcome::dropped;
}

std::string describe(const RunReport& report, const Expectation& expected)
{
    return std::string("the child ") + nameOf(report.ending) + defectsOf(report, expected) + ", answer " +
           std::to_string(report.facts.answer) + "\nmet at\n" + report.facts.place + "standard error:\n" +
           report.errors;
}

}  // namespace

Expectation inTurn(const Turns& turns)
{
    Expectation expectation;
    expectation.turns = turns;
    for (const Turn& turn : turns)
    {
        expectation.outcomes.insert(turn.outcome);
    }
    return expectation;
}

void sweep(const Scenario& scenario, const FaultKind& kind, const Expectation& expected)
{
    Outcomes seen;
    Outcomes seenInside;
    Turns turns;
    Expectation lost;
    unsigned int surprises = 0;
    bool met = true;
    unsigned int nth = 0;
    for (; met && surprises < MOST_SURPRISES; ++nth)
    {
        const RunReport report = runInChild([&](Facts& facts) { run(scenario, kind, nth == 0 ? NEVER : nth, facts); });
        const Outcome outcome = outcomeOf(report, expected);
        met = nth == 0 || report.facts.met || report.ending != Ending::finished;
        bool foreseen = outcome == Outcome::passed;
        if (nth != 0 && met)
        {
            const bool inside = isInside(report.facts, expected.inside.first);
            const Outcomes& fine = inside ? expected.inside.second : expected.outcomes;
            foreseen = fine.count(outcome) != 0 || (!inside && expected.sometimes.count(outcome) != 0);
            (inside ? seenInside : seen).insert(outcome);
            if (!inside)
            {
                addTo(turns, outcome);
            }
            lost.lostBlocks = std::max(lost.lostBlocks, report.facts.blocks);
            lost.lostForeignBlocks = std::max(lost.lostForeignBlocks, report.facts.foreignBlocks);
            lost.lostThreads = std::max(lost.lostThreads, report.facts.unjoined);
        }
        surprises += foreseen ? 0 : 1;
        EXPECT_TRUE(foreseen) << scenario.name << ", " << kind.name << ", fault " << nth << ": " << nameOf(outcome)
                              << ", " << describe(report, expected);
    }
    std::printf("%s, %s: %u calls; %s; inside %s: %s; at most %u blocks, %u of libraries, %u threads lost\n",
                scenario.name.c_str(), kind.name.c_str(), nth - 2, namesOf(turns).c_str(),
                expected.inside.first.c_str(), namesOf(seenInside).c_str(), lost.lostBlocks, lost.lostForeignBlocks,
                lost.lostThreads);
    for (const Outcome outcome : expected.outcomes)
    {
        EXPECT_EQ(seen.count(outcome), 1u) << scenario.name << ": never " << nameOf(outcome);
    }
    EXPECT_EQ(namesOf(seenInside), namesOf(expected.inside.second)) << scenario.name << ", " << kind.name;
    EXPECT_TRUE(expected.turns.empty() || isSame(turns, expected.turns))
        << scenario.name << ", " << kind.name << ": " << namesOf(turns) << " instead of " << namesOf(expected.turns);
}

void sweep(const Scenario& scenario, Fault fault, const Expectation& expected)
{
    const std::string mutex = fault.object != 0 ? " of mutex " + std::to_string(fault.object) : "";
    const FaultKind kind = {
        nameOf(fault.operation) + mutex + ", " + nameOf(fault.actor) + (fault.fromThenOn ? ", from then on" : ", once"),
        [fault](FakeFramework&, unsigned int nth) mutable
        {
            fault.nth = nth;
            FaultLayer::arm(fault);
        },
        [](FakeFramework&) { return FaultLayer::disarm(); }};
    sweep(scenario, kind, expected);
}

}  // namespace OrvTest

#pragma once

#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "World.h"

namespace OrvTest
{

// What has become of a call under a fault.
enum class Outcome
{
    passed,       // the fault made no difference
    refused,      // the call answered another code than OrvOk
    threw,        // an exception came out of the call
    dropped,      // OrvOk, but what the call is for has not happened
    threadEnded,  // the service thread is gone; a start brings it back
    aborted,      // the process ended by abort()
    terminated,   // the process ended by std::terminate
    notSurvived,  // the process ended by a null pointer that nothing guards against
    defective     // anything else: a hang, something leaked or locked for good, somebody not served
};

typedef std::set<Outcome> Outcomes;

struct Scenario
{
    std::string name;
    // Brings the service to where the call can be made. Null for the library just loaded.
    std::function<void(World&)> prepare;
    // The call under test, and the wait for what it sets going. Its answer.
    std::function<int(World&)> act;
    // Whether it did what it is for. Asked after the fault has been taken back.
    std::function<bool(World&)> effect;
    // Names of calls of the framework between which alone faults happen; empty for the beginning and the end of act.
    std::string from = "";
    std::string until = "";
    // Whether faults happen before act already, when the support library and the service are loaded.
    bool fromLoading = false;
};

// What comes of so many calls in a row; 0 for one or more, where the number is that of a library.
struct Turn
{
    Outcome outcome;
    unsigned int calls;
};
typedef std::vector<Turn> Turns;

// What may come of a fault that is met. Each outcome comes at least once in a sweep; none if no call counts.
struct Expectation
{
    Outcomes outcomes;
    // At most, where the process lives.
    unsigned int lostBlocks = 0;         // of the service
    unsigned int lostForeignBlocks = 0;  // of libraries
    unsigned int lostThreads = 0;
    Outcomes sometimes = {};         // as the threads happen to meet
    unsigned int leftConsumers = 0;  // that the router has refused to forget
    // Of faults that are met inside this exported function of whatever library, in place of the above. Once at least.
    std::pair<std::string, Outcomes> inside = {};
    // The outcomes in the order of the calls, but for those inside. Empty for any order.
    Turns turns = {};
};

// Exactly this comes of the calls, from the first to the last.
Expectation inTurn(const Turns& turns);

// A fault of one kind, to be made in the child.
struct FaultKind
{
    std::string name;
    // From now on the nth call of this kind fails, and if wanted those behind it. 1 is the next.
    std::function<void(FakeFramework&, unsigned int nth)> arm;
    // No call fails any more; whether one has.
    std::function<bool(FakeFramework&)> disarm;
};

// Tries the faults n = 1, 2, 3 ... in a child each, until one is not met. Fails the test if something else comes of it
// than expected.
void sweep(const Scenario& scenario, const FaultKind& kind, const Expectation& expected);
void sweep(const Scenario& scenario, Fault fault, const Expectation& expected);

}  // namespace OrvTest

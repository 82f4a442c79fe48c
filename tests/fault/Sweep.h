#pragma once

#include <functional>
#include <set>
#include <string>

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
    defective     // anything else: a crash, a hang, something leaked or locked for good, somebody not served
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
};

// What may come of a fault that is met. Each outcome comes at least once in a sweep; none if no call counts.
struct Expectation
{
    Outcomes outcomes;
    // At most, where the process lives.
    unsigned int lostBlocks = 0;         // of the service
    unsigned int lostForeignBlocks = 0;  // of libraries
    unsigned int lostThreads = 0;
    Outcomes sometimes = {};  // as the threads happen to meet
};

// Tries the faults n = 1, 2, 3 ... in a child each, until one is not met. Fails the test if something else comes of it
// than expected.
void sweep(const Scenario& scenario, Fault fault, const Expectation& expected);

}  // namespace OrvTest

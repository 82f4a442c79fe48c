#pragma once

#include "Nonsense.h"
#include "Sweep.h"

namespace OrvTest
{

// The calls of one function of the framework go wrong in turn, once and from some call on. The function has the name
// that FakeFramework gives it.

// They answer OrvFailure, or one of them a number that no interface knows, and do nothing.
void sweepRefusals(const Scenario& scenario, const std::string& call, const Expectation& expected);
// They answer the code, or one of Nonsense, and do nothing.
void sweepAnswer(const Scenario& scenario, const std::string& call, int answer, const Expectation& expected);
// One of them does not return before another thread has pushed a record. It must make no difference.
void sweepLateness(const Scenario& scenario, const std::string& call);
// During one of them the framework pushes a record, and its event thread brings a CM event, and a clock change unless
// told not to. It must make no difference.
void sweepCallbacks(const Scenario& scenario, const std::string& call, bool withClockChange = true);

}  // namespace OrvTest

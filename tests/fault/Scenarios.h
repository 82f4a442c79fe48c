#pragma once

#include "Sweep.h"

namespace OrvTest
{

// The outcomes, by their own names.
const Outcome passed = Outcome::passed;
const Outcome refused = Outcome::refused;
const Outcome threw = Outcome::threw;
const Outcome dropped = Outcome::dropped;
const Outcome threadEnded = Outcome::threadEnded;
const Outcome aborted = Outcome::aborted;
const Outcome terminated = Outcome::terminated;

// Calls of the service, each with what it sets going. Where the service serves, a healthy subscriber is served with it.
Scenario loading();
Scenario configuring();
Scenario starting();
Scenario registering();
Scenario unregistering();
Scenario subscribing();
Scenario replaying();
Scenario takingAHandle();
Scenario unsubscribing();
Scenario askingForTimes();
Scenario pushing();
Scenario subscribingWithTrees();
Scenario publishing(bool andWaiting);  // an event batch; waiting for the service thread to be through with it
Scenario overflowing();
Scenario derivingDeletes();
Scenario selectingAttributes();
Scenario changingTheClock();
Scenario stopping();
Scenario beating();
Scenario reachingTheStopTime();

}  // namespace OrvTest

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
const Outcome notSurvived = Outcome::notSurvived;

// Calls of the service, each with what it sets going. Where the service serves, a healthy subscriber is served with it.
Scenario loading();
Scenario loadingWithSupport();  // the support library meets the framework, too
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
Scenario replayingWithTrees();
Scenario publishing(bool andWaiting);  // an event batch; waiting for the service thread to be through with it
Scenario overflowing();
Scenario derivingDeletes();
Scenario selectingAttributes();
Scenario changingTheClock();
Scenario retrying();    // a subscriber that takes its record at the fourth try
Scenario givingBack();  // a delivery run is done with records while the service thread is in the midst of their batch
Scenario stopping();
Scenario terminating();
Scenario beating();
Scenario reachingTheStopTime();

// The same with all traces on.
Scenario traced(Scenario scenario);

}  // namespace OrvTest

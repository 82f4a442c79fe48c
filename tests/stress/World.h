#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "Ledger.h"
#include "Producers.h"
#include "Service.h"
#include "Subscriber.h"

namespace OrvStress
{

// What happens to the service while it is used.
struct Scenario
{
    unsigned int bufferSize;
    unsigned int subscribers;
    Habits habits;
    std::chrono::microseconds producerPause;
    unsigned int pushesPerEvent;    // about so many between two events
    unsigned int eventsPerRestart;  // one of so many is a restart, the others change the clock
};

// All that takes part: the service, its producers and its subscribers, and the events that befall it.
// Threads: one.
class World
{
public:
    World(const Scenario& scenario, uint64_t seed);
    ~World();

    void start();
    // Waits for the next event's time and makes it happen. False once the run has ended.
    bool next();
    // Ends the run, and checks what can be checked only then.
    void finish();

    // Called right after each stop, when nothing of the service runs.
    void whenStopped(std::function<void()> action) { _whenStopped = std::move(action); }

    Ledger& ledger() { return _ledger; }
    Complaints& complaints() { return _complaints; }
    Accounts& accounts() { return _accounts; }

    World(const World&) = delete;
    World& operator=(const World&) = delete;

private:
    void restart();
    void changeClock();
    void joinAll();
    void checkLog();
    void checkCount(const char* what, uint64_t logged, uint64_t expected);

    const Scenario _scenario;
    std::mt19937_64 _random;
    Complaints _complaints;
    Ledger _ledger;
    Accounts _accounts;
    Service _service;
    Producers _producers;
    std::vector<std::unique_ptr<Subscriber>> _subscribers;
    std::vector<std::thread> _threads;
    int64_t _lastClockChange;
    std::function<void()> _whenStopped;
};

}  // namespace OrvStress

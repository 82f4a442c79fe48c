#include "World.h"

#include <algorithm>

namespace OrvStress
{

World::World(const Scenario& scenario, uint64_t seed)
    : _scenario(scenario),
      _random(seed),
      _ledger(_complaints),
      _service(_ledger, _complaints, scenario.bufferSize),
      _producers(_ledger, _service, scenario.producerPause),
      _lastClockChange(0),
      _whenStopped([] {})
{
}

World::~World()
{
    joinAll();
}

void World::start()
{
    _service.start();
    for (unsigned int place = 0; place < _scenario.subscribers; ++place)
    {
        _subscribers.emplace_back(
            new Subscriber(place, _ledger, _complaints, _service, _accounts, _scenario.habits, _random()));
    }
    _producers.start();
    for (const auto& subscriber : _subscribers)
    {
        _threads.emplace_back(&Subscriber::live, subscriber.get());
    }
}

bool World::next()
{
    const uint64_t target = _ledger.pushes() + _scenario.pushesPerEvent / 2 + _random() % _scenario.pushesPerEvent;
    if (!_ledger.waitUntil([&] { return _ledger.pushes() >= target; }))
    {
        return false;
    }
    if (_random() % _scenario.eventsPerRestart == 0)
    {
        restart();
    }
    else
    {
        changeClock();
    }
    return true;
}

void World::restart()
{
    static const int reasons[] = {ZelStateChangeDeactivate, ZelStateChangeFailover, ZelStateChangeSwitchover};
    const uint32_t phase = _ledger.phase();
    const uint64_t refused = _ledger.pushesRefused();
    _service.restart(reasons[_random() % 3],
                     [&]
                     {
                         for (const auto& subscriber : _subscribers)
                         {
                             subscriber->serviceStopped(phase);
                         }
                         if (_random() % 2 == 0)
                         {
                             _ledger.waitUntil([&] { return _ledger.pushesRefused() > refused; });
                         }
                         _whenStopped();
                     });
}

// Back by a little, to the present, or ahead by a little: then records are refused until the time has come.
void World::changeClock()
{
    static const int64_t offsets[] = {-100000, -1000, 0, 0, 300, 3000};
    int64_t newTime = systemTime() + offsets[_random() % 6] - static_cast<int64_t>(_random() % 200);
    newTime += newTime == _lastClockChange ? 1 : 0;
    _lastClockChange = newTime;
    _service.changeClock(newTime);
}

void World::joinAll()
{
    _ledger.end();
    _producers.join();
    for (std::thread& thread : _threads)
    {
        thread.join();
    }
    _threads.clear();
}

void World::finish()
{
    joinAll();
    _service.stop();
    checkLog();
}

// The service has logged all of this, each once, and nothing else of the kind.
void World::checkLog()
{
    const LogCounts& log = _service.log();
    checkCount("odd answers", log.answers, _accounts.answers);
    checkCount("exceptions", log.exceptions, _accounts.exceptions);
    checkCount("handles in use", log.handlesInUse, _accounts.handlesInUse);
    checkCount("removals of what is gone", log.notFound, _accounts.notFound + log.notFoundByUnregistering);
}

void World::checkCount(const char* what, uint64_t logged, uint64_t expected)
{
    if (logged != expected)
    {
        _complaints.add("the log tells of " + std::to_string(logged) + " " + what + ", but there were " +
                        std::to_string(expected));
    }
}

}  // namespace OrvStress

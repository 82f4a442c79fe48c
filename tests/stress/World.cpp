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
    _ledger.end();
    _producers.join();
    for (std::thread& thread : _threads)
    {
        thread.join();
    }
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

void World::finish()
{
    _ledger.end();
    _producers.join();
    for (std::thread& thread : _threads)
    {
        thread.join();
    }
    _threads.clear();
    _service.stop();
    checkLog();
}

// The service has logged each answer that is none of the three, and each exception, and nothing else of the kind.
void World::checkLog()
{
    const LogCounts& log = _service.log();
    if (log.answers != _accounts.answers || log.exceptions != _accounts.exceptions)
    {
        _complaints.add("logged " + std::to_string(log.answers) + " odd answers and " + std::to_string(log.exceptions) +
                        " exceptions, but the handlers gave " + std::to_string(_accounts.answers) + " and " +
                        std::to_string(_accounts.exceptions));
    }
}

}  // namespace OrvStress

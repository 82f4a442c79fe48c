#include "Ledger.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>

namespace OrvStress
{

namespace
{

void raise(std::atomic<uint32_t>& counter, uint32_t value)
{
    uint32_t current = counter.load();
    while (current < value && !counter.compare_exchange_weak(current, value))
    {
    }
}

void raise(std::atomic<int64_t>& counter, int64_t value)
{
    int64_t current = counter.load();
    while (current < value && !counter.compare_exchange_weak(current, value))
    {
    }
}

}  // namespace

void Complaints::add(const std::string& text)
{
    const uint64_t number = ++_count;
    if (number <= PRINTED)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        std::fprintf(stderr, "WRONG: %s\n", text.c_str());
    }
}

void Stretches::add(uint32_t number)
{
    const auto next = _lastByFirst.upper_bound(number);
    if (next != _lastByFirst.begin() && std::prev(next)->second + 1 == number)
    {
        std::prev(next)->second = number;
        return;
    }
    _lastByFirst[number] = number;
    if (_lastByFirst.size() > KEPT)
    {
        _lastByFirst.erase(_lastByFirst.begin());
    }
}

uint32_t Stretches::count(uint32_t after, uint32_t before, const Selection& selection) const
{
    uint32_t count = 0;
    auto stretch = _lastByFirst.upper_bound(after);
    if (stretch != _lastByFirst.begin())
    {
        --stretch;
    }
    for (; stretch != _lastByFirst.end() && stretch->first < before; ++stretch)
    {
        const uint32_t from = std::max(stretch->first - 1, after);
        const uint32_t to = std::min(stretch->second + 1, before);
        count += selection.count(from, to);
    }
    return count;
}

Ledger::Ledger(Complaints& complaints)
    : _complaints(complaints),
      _lowestStamp(std::numeric_limits<int64_t>::min()),
      _highestRefusal(std::numeric_limits<int64_t>::min())
{
}

Numbers Ledger::read(const Counters& counters)
{
    Numbers numbers = {};
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        numbers[p] = counters[p].load();
    }
    return numbers;
}

// The current time, or a microsecond more than the last one given.
int64_t Ledger::drawStamp()
{
    int64_t last = _lastStamp.load();
    int64_t stamp = 0;
    do
    {
        stamp = std::max(last + 1, systemTime());
    } while (!_lastStamp.compare_exchange_weak(last, stamp));
    return stamp;
}

Mark Ledger::begin(unsigned int producer)
{
    Mark mark = {producer, _begun[producer].load() + 1, 0, 0, 0};
    _begun[producer].store(mark.number);
    mark.clock = _clock.load();
    mark.turn = ++_turns;
    // First a bound: a stamp in hand is never later than the record's.
    _stampInHand[producer].store(systemTime());
    mark.stamp = drawStamp();
    return mark;
}

void Ledger::end(const Mark& mark, OrvReturnT answer)
{
    const unsigned int p = mark.producer;
    if (answer == OrvOk)
    {
        _refusals[p].store(0);
    }
    else
    {
        if (answer != OrvNotRunning || (running() && mark.clock == clock()))
        {
            _complaints.add(dnOf(mark) + " was answered with " + std::to_string(answer));
        }
        ++_pushesRefused;
        {
            const std::lock_guard<std::mutex> lock(_mutex);
            _refused[p].add(mark.number);
        }
        if (_refusals[p]++ == 0)
        {
            wake();
        }
    }
    raise(_longestPush, systemTime() - _stampInHand[p].load());
    _stampInHand[p].store(0);
    _completed[p].store(mark.number);
    if (++_pushes % WAKE_EVERY == 0)
    {
        wake();
    }
}

bool Ledger::waitForRoom(unsigned int producer)
{
    const auto room = [&]
    {
        const uint32_t settled = std::max(_processed[producer].load(), _credit[producer].load());
        return ending() || (_completed[producer].load() - std::min(settled, _completed[producer].load()) < ROOM &&
                            (running() || _refusals[producer].load() < REFUSALS));
    };
    if (room())
    {
        _stalls[producer] = 0;
        return !ending();
    }
    std::unique_lock<std::mutex> lock(_waitMutex);
    ++_waitingForRoom;
    const bool hasRoom = _room.wait_for(lock, std::chrono::seconds(STALL_SECONDS), room);
    --_waitingForRoom;
    _stalls[producer] = hasRoom ? 0 : _stalls[producer] + 1;
    if (_stalls[producer] * STALL_SECONDS >= TIMEOUT_SECONDS)
    {
        hang("producer " + std::to_string(producer) + " got no room: the service does not go on");
    }
    return !ending();
}

Checkpoint Ledger::checkpoint()
{
    Checkpoint moment = {0, {}, {}, phase(), clock()};
    moment.before = completed();
    moment.time = drawStamp();
    moment.begun = begun();
    return moment;
}

int64_t Ledger::longestPush() const
{
    int64_t longest = _longestPush.load();
    for (const std::atomic<int64_t>& inHand : _stampInHand)
    {
        const int64_t stamp = inHand.load();
        if (stamp != 0)
        {
            longest = std::max(longest, systemTime() - stamp);
        }
    }
    return std::max(longest, _longestPush.load());
}

void Ledger::witnessed(unsigned int producer, uint32_t number)
{
    raise(_processed[producer], number);
    if (_waitingForRoom.load() != 0 && number % 16 == 0)
    {
        const std::lock_guard<std::mutex> lock(_waitMutex);
        _room.notify_all();
    }
}

void Ledger::refusedForItsStamp(const Mark& mark)
{
    ++_stampsRefused;
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _refused[mark.producer].add(mark.number);
        if (mark.stamp >= _highestRefusal)
        {
            _complaints.add(dnOf(mark) + " was refused, but the clock was set no further than " +
                            std::to_string(_highestRefusal));
        }
    }
    witnessed(mark.producer, mark.number);
}

uint32_t Ledger::refused(unsigned int producer, uint32_t after, uint32_t before, const Selection& selection) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _refused[producer].count(after, before, selection);
}

void Ledger::beginRestart()
{
    ++_phase;
    ++_clock;
    ++_restarts;
    wake();
}

void Ledger::stopped()
{
    giveCredit();
    const std::lock_guard<std::mutex> lock(_mutex);
    _gone = completed();
    _discardedUpTo = _gone;
    _highestRefusal = std::numeric_limits<int64_t>::min();
    // What ended before is gone, and what is still in hand counts by its stamp.
    _longestPush.store(0);
}

Numbers Ledger::gone() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _gone;
}

Numbers Ledger::restartedAt() const
{
    if (!running())
    {
        return begun();
    }
    const std::lock_guard<std::mutex> lock(_mutex);
    return _restartedAt;
}

void Ledger::endRestart(int64_t latestCreation)
{
    _lowestStamp.store(std::numeric_limits<int64_t>::min());
    raise(_longestPush, latestCreation - systemTime());
    giveCredit();
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _restartedAt = begun();
    }
    ++_clock;
    ++_phase;
    wake();
}

void Ledger::giveCredit()
{
    const Numbers all = completed();
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        _credit[p].store(all[p]);
        _refusals[p].store(0);
    }
    wake();
}

void Ledger::beginClockChange(int64_t newTime)
{
    const Numbers processedBefore = processed();
    const std::lock_guard<std::mutex> lock(_mutex);
    // A push may still be judged by the time before.
    _highestRefusal = std::max(newTime, _lowestStamp.load());
    const uint32_t index = ++_clock / 2 + 1;
    _changes.push_back({index, newTime, false});
    if (_changes.size() > CHANGES_KEPT)
    {
        _changes.pop_front();
    }
    _discardedUpTo = processedBefore;
    ++_clockChanges;
}

void Ledger::endClockChange()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _lowestStamp.store(_changes.back().newTime);
    ++_clock;
}

void Ledger::discarded()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (clock() % 2 == 0 || _changes.empty() || _changes.back().told)
    {
        _complaints.add("the buffer was emptied without a clock change");
        return;
    }
    _changes.back().told = true;
    ++_clockChangesTold;
}

uint32_t Ledger::clockChangeTo(int64_t newTime) const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    for (auto change = _changes.rbegin(); change != _changes.rend(); ++change)
    {
        if (change->newTime == newTime)
        {
            return change->told ? change->index : 0;
        }
    }
    return 0;
}

uint32_t Ledger::told(uint32_t after, uint32_t upTo, int64_t stopTime) const
{
    uint32_t count = 0;
    if (upTo > after)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        for (auto change = _changes.rbegin(); change != _changes.rend() && change->index > after; ++change)
        {
            const bool expired = stopTime > 0 && change->newTime > stopTime;
            count += change->index <= upTo && change->told && !expired ? 1 : 0;
        }
    }
    return count;
}

Numbers Ledger::discardedUpTo() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _discardedUpTo;
}

bool Ledger::waitUntil(const std::function<bool()>& fact)
{
    std::unique_lock<std::mutex> lock(_waitMutex);
    if (!_progress.wait_for(lock, std::chrono::seconds(TIMEOUT_SECONDS), [&] { return ending() || fact(); }))
    {
        hang("a fact that was waited for did not come about");
    }
    return !ending();
}

// Whoever hangs inside the service cannot be ended otherwise.
void Ledger::hang(const std::string& what)
{
    _complaints.add(what);
    std::abort();
}

void Ledger::wake()
{
    const std::lock_guard<std::mutex> lock(_waitMutex);
    _progress.notify_all();
    _room.notify_all();
}

void Ledger::end()
{
    _ending = true;
    wake();
}

uint64_t Ledger::underWay() const
{
    uint64_t count = 0;
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        const uint32_t settled = std::max(_processed[p].load(), _credit[p].load());
        const uint32_t all = _completed[p].load();
        count += all > settled ? all - settled : 0;
    }
    return count;
}

}  // namespace OrvStress

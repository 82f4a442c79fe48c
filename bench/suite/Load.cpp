#include "Load.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <limits>
#include <numeric>
#include <stdexcept>

#include "Clock.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

// Handlers are functions without a context.
Load* currentLoad = nullptr;

const int64_t STANDSTILL = 5 * MILLISECOND;    // after which a nudge is due; each further one takes twice as long
const int64_t PATIENCE = 30 * NANOSECONDS;     // after which records count as lost
const int64_t SECOND_LOOK = MILLISECOND / 10;  // where nobody is told that a record has arrived

int64_t microsecondsSinceEpoch()
{
    timespec now = timespec();
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

}  // namespace

Load::Load(Channel& channel, const ChannelOptions& channelOptions, const LoadOptions& options, Receive handler)
    : _channel(channel),
      _options(options),
      _record(benchRecord()),
      _credit(options.window),
      _progress(new Progress[options.subscribers + options.laggards]),
      // More than can be under way, nudges included.
      _milestones(options.window / options.step + 100),
      _arrivals(new std::atomic<unsigned int>[_milestones]())
{
    if (options.window < 4 * options.step)
    {
        throw std::runtime_error("the step does not suit the window");
    }
    _record.eventTime = microsecondsSinceEpoch();
    currentLoad = this;
    ChannelOptions all = channelOptions;
    all.subscribers = options.subscribers + options.laggards;
    channel.open(all, handler);
}

Load::~Load()
{
    try
    {
        _channel.close();
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "while the channel was closed: %s\n", error.what());
    }
    currentLoad = nullptr;
}

void Load::awaitCredit()
{
    if (_published >= _credit)
    {
        // What stands between two milestones is not known to be received.
        const uint64_t needed = _published + 1 - _options.window;
        waitUntilReceived((needed + _options.step - 1) / _options.step * _options.step);
        const std::lock_guard<std::mutex> lock(_mutex);
        _credit = _slowest + _options.window;
    }
}

void Load::push()
{
    ++_published;
    ++_record.eventTime;
    _record.sequenceNumber = static_cast<uint32_t>(_published);
    _channel.publish(_record);
}

void Load::awaitAll()
{
    waitUntilReceived(_published);
}

void Load::completeStep()
{
    while (_published % _options.step != 0)
    {
        while (_published % _options.step != 0)
        {
            push();
        }
        awaitAll();
    }
}

double Load::saturate(int64_t nanoseconds, uint64_t records)
{
    const uint64_t before = _published;
    const int64_t start = nowNanoseconds();
    bool isEnough = false;
    while (!isEnough || _published % _options.step != 0)
    {
        awaitCredit();
        push();
        if (_published % _options.step == 0)
        {
            isEnough = _published - before >= records || nowNanoseconds() - start >= nanoseconds;
        }
    }
    const uint64_t last = _published;
    awaitAll();
    const std::lock_guard<std::mutex> lock(_mutex);
    return static_cast<double>(last - before) * static_cast<double>(NANOSECONDS) /
           static_cast<double>(_slowestTime - start);
}

double Load::measureRate(bool quick)
{
    saturate(0, 0);
    return saturate(measuringTime(quick), quick ? 2 * _options.step : std::numeric_limits<uint64_t>::max());
}

std::vector<int64_t> Load::timePushes(bool quick)
{
    saturate(0, 0);
    std::vector<int64_t> samples;
    const uint64_t records = quick ? 2 * _options.step : std::numeric_limits<uint64_t>::max();
    const int64_t end = nowNanoseconds() + measuringTime(quick);
    int64_t after = 0;
    while (after < end && samples.size() < records)
    {
        awaitCredit();
        const int64_t before = nowNanoseconds();
        push();
        after = nowNanoseconds();
        samples.push_back(after - before);
    }
    awaitAll();
    return samples;
}

void Load::check() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (!_failure.empty())
    {
        throw std::runtime_error(_failure);
    }
}

void Load::close()
{
    _channel.close();
    check();
}

void Load::receive(unsigned int subscriber, uint64_t number)
{
    currentLoad->take(subscriber, number);
}

void Load::take(unsigned int subscriber, uint64_t number)
{
    std::atomic<uint64_t>& received = _progress[subscriber].received;
    const uint64_t before = received.load(std::memory_order_relaxed);
    if (subscriber >= _options.subscribers)
    {
        if (number != 0)
        {
            received.store(number, std::memory_order_relaxed);
            if (number <= before)
            {
                fail(subscriber, number, before);
            }
        }
        return;
    }
    if (number != before + 1)
    {
        fail(subscriber, number, before);
        return;
    }
    received.store(number, std::memory_order_relaxed);
    if (number % _options.step == 0)
    {
        arriveAt(number / _options.step);
    }
}

// A subscriber reaches the next milestone only after it has left this function, so milestones are completed in order.
void Load::arriveAt(uint64_t milestone)
{
    std::atomic<unsigned int>& arrivals = _arrivals[milestone % _milestones];
    if (arrivals.fetch_add(1, std::memory_order_acq_rel) + 1 == _options.subscribers)
    {
        arrivals.store(0, std::memory_order_relaxed);
        const std::lock_guard<std::mutex> lock(_mutex);
        _slowest = milestone * _options.step;
        _slowestTime = nowNanoseconds();
        _moved.notify_one();
    }
}

void Load::fail(unsigned int subscriber, uint64_t number, uint64_t before)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    if (_failure.empty())
    {
        _failure = "subscriber " + std::to_string(subscriber) + " has received record " + std::to_string(number) +
                   " after record " + std::to_string(before);
    }
    _moved.notify_one();
}

void Load::waitUntilReceived(uint64_t number)
{
    const std::chrono::nanoseconds look(number % _options.step == 0 ? STANDSTILL : SECOND_LOOK);
    const auto isDone = [this, number] { return !_failure.empty() || haveAllReceived(number); };
    uint64_t deliveriesBefore = deliveries();
    int64_t lastDelivery = nowNanoseconds();
    int64_t nextNudge = STANDSTILL;
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_moved.wait_for(lock, look, isDone))
    {
        const int64_t now = nowNanoseconds();
        if (deliveries() != deliveriesBefore)
        {
            deliveriesBefore = deliveries();
            lastDelivery = now;
            nextNudge = STANDSTILL;
        }
        else if (now - lastDelivery >= PATIENCE)
        {
            throw std::runtime_error("records are outstanding, and nothing has arrived for long");
        }
        else if (now - lastDelivery >= nextNudge)
        {
            nextNudge *= 2;
            ++_nudges;
            lock.unlock();
            push();
            lock.lock();
        }
    }
    if (!_failure.empty())
    {
        throw std::runtime_error(_failure);
    }
}

// With _mutex held.
bool Load::haveAllReceived(uint64_t number) const
{
    if (number % _options.step == 0)
    {
        return _slowest >= number;
    }
    return std::all_of(_progress.get(), _progress.get() + _options.subscribers,
                       [number](const Progress& progress)
                       { return progress.received.load(std::memory_order_relaxed) >= number; });
}

// To all that are waited for.
uint64_t Load::deliveries() const
{
    return std::accumulate(_progress.get(), _progress.get() + _options.subscribers, uint64_t(0),
                           [](uint64_t sum, const Progress& progress)
                           { return sum + progress.received.load(std::memory_order_relaxed); });
}

}  // namespace OrvBench

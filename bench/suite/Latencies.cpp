#include "Latencies.h"

#include "Clock.h"
#include "Load.h"

namespace OrvBench
{

namespace
{

// Handlers are functions without a context.
Latencies* currentLatencies = nullptr;

}  // namespace

Latencies::Latencies(unsigned int subscribers, uint64_t records) : _sent(records + 1, 0), _subscribers(subscribers)
{
    for (Subscriber& subscriber : _subscribers)
    {
        subscriber.samples.reserve(records);
    }
    currentLatencies = this;
}

Latencies::~Latencies()
{
    currentLatencies = nullptr;
}

void Latencies::sending(uint64_t number)
{
    if (number < _sent.size())
    {
        _sent[number] = nowNanoseconds();
    }
}

void Latencies::receive(unsigned int subscriber, uint64_t number)
{
    const int64_t now = nowNanoseconds();
    const std::vector<int64_t>& sent = currentLatencies->_sent;
    if (number < sent.size() && sent[number] != 0)
    {
        currentLatencies->_subscribers[subscriber].samples.push_back(now - sent[number]);
    }
    Load::receive(subscriber, number);
}

std::vector<int64_t> Latencies::samples() const
{
    std::vector<int64_t> all;
    for (const Subscriber& subscriber : _subscribers)
    {
        all.insert(all.end(), subscriber.samples.begin(), subscriber.samples.end());
    }
    return all;
}

}  // namespace OrvBench

#include "Producers.h"

#include <algorithm>
#include <string>

#include "Records.h"

namespace OrvStress
{

Producers::Producers(Ledger& ledger, Service& service, std::chrono::microseconds pause)
    : _ledger(ledger), _service(service), _pause(pause)
{
}

Producers::~Producers()
{
    join();
}

void Producers::start()
{
    for (unsigned int p = 0; p < PRODUCERS; ++p)
    {
        _threads.emplace_back(&Producers::run, this, p);
    }
}

void Producers::join()
{
    for (std::thread& thread : _threads)
    {
        thread.join();
    }
    _threads.clear();
}

void Producers::run(unsigned int producer)
{
    auto next = std::chrono::steady_clock::now();
    while (_ledger.waitForRoom(producer))
    {
        if (_pause.count() != 0)
        {
            // Behind time, it does not hurry to make up for what it missed.
            next = std::max(next + _pause, std::chrono::steady_clock::now() - _pause);
            std::this_thread::sleep_until(next);
        }
        const Mark mark = _ledger.begin(producer);
        if (producer + 1 < PRODUCERS)
        {
            _ledger.end(mark, push(mark));
        }
        else
        {
            publish(mark);
            _ledger.end(mark, OrvOk);
        }
    }
}

OrvReturnT Producers::push(const Mark& mark)
{
    MarkedRecord record(mark);
    return _service.table().pushNotification(*record);
}

// Comes back when the event has been delivered. What the consumer drops while the service starts or stops is not told.
void Producers::publish(const Mark& mark)
{
    OrvTest::CmEvent event(static_cast<uint64_t>(mark.stamp) * 1000, mark.turn);
    const int64_t value = static_cast<int64_t>(valueOf(mark));
    event.operation(dnOf(mark), typeOf(mark.number), {{ATTRIBUTE, 8, value, ""}});
    _service.framework().router().publish(event);
}

}  // namespace OrvStress

// M: what it costs to throw a record away that overflows a queue, measured from outside. The handlers of eight
// subscriptions are held, so their queues fill in step, one record at each push, and a push that finds them full throws
// away 8 x 100 records before a ninth subscription, which is offered every record last, receives the record. How much
// later it does so than after a push that finds room is the time of the purges.
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "Peers.h"
#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

const unsigned int HELD = 8;      // subscribers that are held; the next number is that of the one that observes
const unsigned int LIMIT = 100;   // of a queue
const unsigned int WATCHED = 10;  // of the pushes that fill a queue: the last ones
const int64_t PATIENCE = 30 * NANOSECONDS;

// Holds the handlers of the eight, and tells when the ninth receives a record.
class Hold
{
public:
    void receive(unsigned int subscriber, uint64_t number)
    {
        const int64_t now = nowNanoseconds();
        std::unique_lock<std::mutex> lock(_mutex);
        if (subscriber == HELD)
        {
            _observed = number;
            _observedTime = now;
        }
        else
        {
            ++_held;
            _overflows += number == 0;
            _opened.wait(lock, [this] { return _open; });
        }
        _moved.notify_one();
    }

    void awaitHeld(unsigned int count)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        await(lock, [this, count] { return _held >= count; });
    }

    // When the ninth has received the record of this number.
    int64_t awaitObserved(uint64_t number)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        await(lock, [this, number] { return _observed >= number; });
        return _observedTime;
    }

    // From now on nothing is held; returns when each of the eight has received an overflow record.
    void openAndAwaitOverflows()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _open = true;
        _opened.notify_all();
        await(lock, [this] { return _overflows >= HELD; });
    }

    void open()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _open = true;
        _opened.notify_all();
    }

private:
    template <typename Condition>
    void await(std::unique_lock<std::mutex>& lock, Condition condition)
    {
        if (!_moved.wait_for(lock, std::chrono::nanoseconds(PATIENCE), condition))
        {
            throw std::runtime_error("a record does not arrive");
        }
    }

    std::mutex _mutex;
    std::condition_variable _opened;
    std::condition_variable _moved;
    bool _open = false;
    unsigned int _held = 0;
    unsigned int _overflows = 0;
    uint64_t _observed = 0;
    int64_t _observedTime = 0;
};

// Handlers are functions without a context.
Hold* currentHold = nullptr;

void receive(unsigned int subscriber, uint64_t number)
{
    currentHold->receive(subscriber, number);
}

// Lets go of the handlers before the channel is closed, come what may.
struct Opener
{
    explicit Opener(Hold& toBeOpened) : hold(toBeOpened) {}
    ~Opener() { hold.open(); }
    Opener(const Opener&) = delete;
    Opener& operator=(const Opener&) = delete;

    Hold& hold;
};

// Pushes records one by one.
class Producer
{
public:
    Producer(Channel& channel, Hold& hold) : _channel(channel), _hold(hold), _record(benchRecord()) {}

    void push()
    {
        ++_record.eventTime;
        ++_record.sequenceNumber;
        _channel.publish(_record);
    }

    // Waits for the one that observes.
    int64_t awaitObserved() { return _hold.awaitObserved(_record.sequenceNumber); }

    // Nanoseconds from the push until it is observed.
    int64_t timePush()
    {
        const int64_t start = nowNanoseconds();
        push();
        return awaitObserved() - start;
    }

private:
    Channel& _channel;
    Hold& _hold;
    OrvOamSpiNbiNotificationValue_1 _record;
};

void measure(const Settings& settings)
{
    Hold hold;
    currentHold = &hold;
    ServiceChannel channel;
    const Opener opener(hold);
    ChannelOptions options;
    options.subscribers = HELD + 1;
    options.storeSize = LIMIT;
    options.library = settings.library;
    channel.open(options, receive);
    Producer producer(channel, hold);
    producer.push();
    hold.awaitHeld(HELD);
    std::vector<int64_t> withRoom;
    std::vector<int64_t> withPurge;
    unsigned int queued = 0;  // records in each of the eight queues
    const int64_t end = nowNanoseconds() + measuringTime(settings.quick);
    do
    {
        for (; queued < LIMIT - WATCHED; ++queued)
        {
            producer.push();
        }
        producer.awaitObserved();
        for (; queued < LIMIT; ++queued)
        {
            withRoom.push_back(producer.timePush());
        }
        withPurge.push_back(producer.timePush());
        queued = 2;  // the overflow record, and the one that was pushed
    } while (nowNanoseconds() < end);
    hold.openAndAwaitOverflows();
    channel.close();
    const double room = quantile(withRoom, 0.5);
    const double purge = quantile(withPurge, 0.5);
    Figures figures("M", "service", {{"S", HELD}, {"K", LIMIT}});
    figures.report("purge_per_record", "ns", (purge - room) / (HELD * LIMIT));
    figures.report("with_purge_p50", "ns", purge);
    figures.report("with_room_p50", "ns", room);
}

}  // namespace

void addPurge(Cases& cases)
{
    cases.push_back({"M/service/S=8/purge", measure});
}

}  // namespace OrvBench

// What a subscription that asks for a replay of K records costs: the time until the last of them is received, and the
// time of the call, in which the registry lock is held. Once with an idle service, once with records coming in.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "NotificationUtils.h"
#include "Peers.h"
#include "ServiceHost.h"

namespace OrvBench
{

namespace
{

const std::chrono::seconds PATIENCE(60);

// The one subscriber. Records have consecutive event times, by which it knows that none is missing. A handler is a
// function without a context, so there is one object.
class Subscriber
{
public:
    void expect(int64_t eventTime)
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _first = eventTime;
        _next = eventTime;
        _completed = 0;
        _overflowed = false;
        _broken = false;
    }

    void take(const OrvOamSpiNbiNotificationValue_1& record)
    {
        if (record.notificationType == objectCreated)
        {
            // Until the replay is complete no other thread looks at these.
            if (record.eventTime == _first)
            {
                _begun = nowNanoseconds();
            }
            _broken = _broken || record.eventTime != _next;
            _next = record.eventTime + 1;
            return;
        }
        const int64_t now = nowNanoseconds();
        const std::lock_guard<std::mutex> lock(_mutex);
        if (record.notificationType == replayComplete && _completed == 0)
        {
            _completed = now;
            _replayed = _next - _first;
        }
        _overflowed = _overflowed || record.notificationType == overflowNotification;
        _changed.notify_one();
    }

    // The time at which the last replayed record had been received; 0 if it was thrown away with all that waited.
    int64_t awaitCompletion()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        if (!_changed.wait_for(lock, PATIENCE, [this] { return _completed != 0 || _overflowed; }))
        {
            throw std::runtime_error("the replay does not become complete");
        }
        return _completed;
    }

    // These two once it is complete. The time at which the first record came, and how many there were.
    int64_t begun() const { return _begun; }
    int64_t replayed() const { return _replayed; }

    // These two once the subscription has been removed. Whether what waited was thrown away at some time; and if it was
    // not, whether every record came, each once, in order.
    bool hasOverflowed() const { return _overflowed; }
    bool isComplete() const { return !_broken; }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    int64_t _first = 0;
    int64_t _next = 0;
    int64_t _begun = 0;
    int64_t _completed = 0;
    int64_t _replayed = 0;
    bool _overflowed = false;
    bool _broken = false;
};

Subscriber subscriber;

OrvReturnT receive(unsigned int, OrvOamSpiNbiNotificationValue_1* record)
{
    subscriber.take(*record);
    return OrvOk;
}

// Pushes records at an even pace until it is destroyed.
class LiveProducer
{
public:
    // latest: event time of the record that was pushed last, counted on. perSecond: 0 for none; otherwise a multiple of
    // 1000.
    LiveProducer(OrvOamSpiNbiNotificationService& table, std::atomic<int64_t>& latest, unsigned int perSecond)
        : _table(table), _latest(latest), _perMillisecond(perSecond / 1000)
    {
        if (perSecond != 0)
        {
            _thread = std::thread([this] { run(); });
        }
    }
    ~LiveProducer() { stop(); }

    // Throws if a push was refused.
    void finish()
    {
        stop();
        requireOk(_result, "pushNotification");
    }

    LiveProducer(const LiveProducer&) = delete;
    LiveProducer& operator=(const LiveProducer&) = delete;

private:
    void stop()
    {
        _stopped = true;
        if (_thread.joinable())
        {
            _thread.join();
        }
    }

    void run()
    {
        OrvOamSpiNbiNotificationValue_1 record = benchRecord();
        int64_t time = nowNanoseconds();
        while (!_stopped && _result == OrvOk)
        {
            for (unsigned int i = 0; i < _perMillisecond && _result == OrvOk; ++i)
            {
                record.eventTime = _latest + 1;
                _result = _table.pushNotification(record);
                _latest = record.eventTime;
            }
            time += MILLISECOND;
            sleepUntil(time);
        }
    }

    OrvOamSpiNbiNotificationService& _table;
    std::atomic<int64_t>& _latest;
    const unsigned int _perMillisecond;
    std::atomic<bool> _stopped{false};
    OrvReturnT _result = OrvOk;
    std::thread _thread;
};

struct ReplayTimes
{
    std::vector<int64_t> untilReceived;  // nanoseconds, for K records
    std::vector<int64_t> hold;
};

// One replay of the latest records. False if what waited was thrown away because too much came in meanwhile.
bool measureReplay(OrvOamSpiNbiNotificationService& table, unsigned int handlerId, int64_t startTime, int64_t records,
                   ReplayTimes& times)
{
    subscriber.expect(startTime);
    unsigned int subscription = 0;
    requireOk(table.getSubscriptionHandle(&subscription), "getSubscriptionHandle");
    OrvNameValuePair* everything[] = {nullptr};
    const int64_t before = nowNanoseconds();
    requireOk(table.subscribe(handlerId, everything, subscription, startTime, 0, false, 0), "subscribe");
    const int64_t called = nowNanoseconds() - before;
    const int64_t completed = subscriber.awaitCompletion();
    requireOk(table.unsubscribe(subscription), "unsubscribe");
    if (subscriber.hasOverflowed())
    {
        return false;
    }
    if (!subscriber.isComplete())
    {
        throw std::runtime_error("a replayed record was lost, doubled or out of order");
    }
    // With records coming in, some more or less than K have been replayed.
    const double share = static_cast<double>(records) / static_cast<double>(subscriber.replayed());
    times.untilReceived.push_back(static_cast<int64_t>(static_cast<double>(completed - before) * share));
    // The records are delivered from the end of the copying on, be it that the caller is still on its way out.
    const int64_t hold = std::min(called, subscriber.begun() - before);
    times.hold.push_back(static_cast<int64_t>(static_cast<double>(hold) * share));
    return true;
}

// After one that is not measured: the first one finds other memory than those after it.
unsigned int repetitions(unsigned int records, bool quick)
{
    return quick ? 1 : std::max(5U, 100000 / records);
}

void measureService(unsigned int records, unsigned int live, const Settings& settings)
{
    // The store, and with it the subscriber's queue, has room for what comes in meanwhile.
    const unsigned int storeSize = records + records / 10;
    ServiceHost host(settings.library, storeSize);
    host.fillStore();
    OrvOamSpiNbiNotificationService& table = host.table();
    OrvOamSpiNbiNotificationHandler_1 handler = {receive};
    unsigned int handlerId = 0;
    requireOk(table.registerHandler(&handler, &handlerId), "registerHandler");

    std::atomic<int64_t> latest(storeSize + 1);
    LiveProducer producer(table, latest, live);
    ReplayTimes first;
    measureReplay(table, handlerId, latest - records + 1, records, first);
    ReplayTimes times;
    const unsigned int wanted = repetitions(records, settings.quick);
    const unsigned int mostOverflows = 9 * wanted;
    unsigned int overflows = 0;
    while (times.hold.size() < wanted && overflows <= mostOverflows)
    {
        overflows += measureReplay(table, handlerId, latest - records + 1, records, times) ? 0 : 1;
    }
    producer.finish();
    if (times.hold.size() < wanted)
    {
        throw std::runtime_error("live records overflow the subscriber's queue before it has received the replay");
    }
    Figures figures("G", "service", {{"K", static_cast<double>(records)}, {"live", static_cast<double>(live)}});
    figures.report("replay_time", "ns", quantile(times.untilReceived, 0.5));
    figures.report("lock_hold", "ns", quantile(times.hold, 0.5));
    figures.report("overflows", "1", overflows);
}

typedef std::deque<OrvOamSpiNbiNotificationValue_1*> Records;

void freeAll(Records& records)
{
    for (OrvOamSpiNbiNotificationValue_1* record : records)
    {
        NotificationUtils::deleteNotification(record);
    }
    records.clear();
}

// What no replay can do without: copying the records on one thread, then freeing the copies on another. The originals
// have been made by a third one.
void measureFloor(unsigned int records, const Settings& settings)
{
    Records store;
    std::thread(
        [&store, records]
        {
            store = Records(records);
            std::generate(store.begin(), store.end(),
                          [] { return NotificationUtils::copyNotification(benchRecord()); });
        })
        .join();
    std::vector<int64_t> copying;
    std::vector<int64_t> both;
    for (unsigned int i = 0; i <= repetitions(records, settings.quick); ++i)
    {
        Records copies;
        const int64_t before = nowNanoseconds();
        for (const OrvOamSpiNbiNotificationValue_1* record : store)
        {
            copies.push_back(NotificationUtils::copyNotification(*record));
        }
        const int64_t copied = nowNanoseconds() - before;
        int64_t freeing = 0;
        std::thread(
            [&copies, &freeing]
            {
                const int64_t start = nowNanoseconds();
                freeAll(copies);
                freeing = nowNanoseconds() - start;
            })
            .join();
        if (i != 0)
        {
            copying.push_back(copied);
            both.push_back(copied + freeing);
        }
    }
    freeAll(store);
    Figures figures("G", "floor", {{"K", static_cast<double>(records)}});
    figures.report("copy", "ns", quantile(copying, 0.5));
    figures.report("copy_remote_free", "ns", quantile(both, 0.5));
}

}  // namespace

void addReplay(Cases& cases)
{
    for (const unsigned int records : {5000U, 100000U})
    {
        const std::string size = "/K=" + std::to_string(records);
        for (const unsigned int live : {0U, 10000U})
        {
            cases.push_back({"G/service" + size + "/live=" + std::to_string(live),
                             [records, live](const Settings& settings) { measureService(records, live, settings); }});
        }
        cases.push_back({"G/floor" + size, [records](const Settings& settings) { measureFloor(records, settings); }});
    }
}

}  // namespace OrvBench

// What the scenarios are held against: the least that the same work can cost on this machine. Records are copied and
// freed by the service's own functions, so that a floor has the allocations that the records need, and nothing else.
#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "Cases.h"
#include "Clock.h"
#include "Figures.h"
#include "NotificationUtils.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

typedef std::vector<OrvOamSpiNbiNotificationValue_1*> Records;

double medianOf(int repetitions, const std::function<int64_t()>& measure)
{
    std::vector<int64_t> samples;
    for (int i = 0; i < repetitions; ++i)
    {
        samples.push_back(measure());
    }
    return quantile(samples, 0.5);
}

void freeAll(Records& records)
{
    for (OrvOamSpiNbiNotificationValue_1*& record : records)
    {
        NotificationUtils::deleteNotification(record);
    }
}

// Records that stand where their allocation has put them, like those of a store.
Records makeRecords(size_t count)
{
    Records records;
    for (size_t i = 0; i < count; ++i)
    {
        records.push_back(NotificationUtils::copyNotification(benchRecord()));
    }
    return records;
}

// One record at a time is copied and freed, on one thread.
void measureCopyAndFree(const Settings& settings)
{
    const int batch = 10000;
    const double nanoseconds = medianOf(settings.quick ? 5 : 101,
                                        []
                                        {
                                            const int64_t start = nowNanoseconds();
                                            for (int i = 0; i < batch; ++i)
                                            {
                                                OwnedNotification(NotificationUtils::copyNotification(benchRecord()));
                                            }
                                            return nowNanoseconds() - start;
                                        });
    Figures("floor", "floor", {}).report("copy_free", "ns", nanoseconds / batch);
}

// A queue's worth of records is freed by the thread that has copied them. Reported per record.
void measureFree(const Settings& settings)
{
    const size_t batch = 100;
    const double nanoseconds = medianOf(settings.quick ? 20 : 10001,
                                        []
                                        {
                                            Records records = makeRecords(batch);
                                            const int64_t start = nowNanoseconds();
                                            freeAll(records);
                                            return nowNanoseconds() - start;
                                        });
    Figures("floor", "floor", {}).report("free", "ns", nanoseconds / batch);
}

// The oldest of K records leaves, a new one stands behind the others. Per record.
void measureShift(size_t size, const Settings& settings)
{
    const int batch = 100;
    Records store(size, &benchRecord());
    const double nanoseconds = medianOf(settings.quick ? 5 : 101,
                                        [&store]
                                        {
                                            const int64_t start = nowNanoseconds();
                                            for (int i = 0; i < batch; ++i)
                                            {
                                                store.erase(store.begin());
                                                store.push_back(&benchRecord());
                                            }
                                            return nowNanoseconds() - start;
                                        });
    Figures("floor", "floor", {{"K", size}}).report("shift", "ns", nanoseconds / batch);
}

// The last of the two hops: a run on a pool thread.
class Arrival : public Poco::Runnable
{
public:
    void run() override { time.store(nowNanoseconds(), std::memory_order_release); }

    std::atomic<int64_t> time{0};
};

// The first: a thread that waits for a descriptor, and then starts a run on the pool.
class Forwarder
{
public:
    explicit Forwarder(Poco::Runnable& run) : _run(run), _descriptor(eventfd(0, EFD_CLOEXEC)), _end(false)
    {
        if (_descriptor < 0)
        {
            throw std::runtime_error("no descriptor");
        }
        _thread = std::thread([this] { forwardAll(); });
    }

    ~Forwarder()
    {
        _end.store(true);
        wake();
        _thread.join();
        _pool.joinAll();
        close(_descriptor);
    }

    void wake() const
    {
        const uint64_t one = 1;
        if (write(_descriptor, &one, sizeof(one)) != static_cast<ssize_t>(sizeof(one)))
        {
            std::terminate();  // nobody would wake up any more
        }
    }

    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

private:
    void forwardAll()
    {
        uint64_t count = 0;
        while (waitUntilReadable() && read(_descriptor, &count, sizeof(count)) > 0 && !_end.load())
        {
            _pool.start(_run);
        }
    }

    bool waitUntilReadable() const
    {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(_descriptor, &readable);
        return select(_descriptor + 1, &readable, nullptr, nullptr, nullptr) == 1;
    }

    Poco::Runnable& _run;
    const int _descriptor;
    std::atomic<bool> _end;
    Poco::ThreadPool _pool;
    std::thread _thread;
};

// A millisecond between two wake-ups, so that everybody has fallen asleep.
void measureTwoHops(const Settings& settings)
{
    const int samples = settings.quick ? 20 : 1000;
    Arrival arrival;
    const Forwarder forwarder(arrival);
    int64_t next = nowNanoseconds();
    const double nanoseconds = medianOf(samples,
                                        [&]
                                        {
                                            next += MILLISECOND;
                                            sleepUntil(next);
                                            const int64_t start = nowNanoseconds();
                                            arrival.time.store(0, std::memory_order_relaxed);
                                            forwarder.wake();
                                            sleepUntil(start + MILLISECOND / 2);
                                            while (arrival.time.load(std::memory_order_acquire) == 0)
                                            {
                                                sleepUntil(nowNanoseconds() + MILLISECOND);
                                            }
                                            return arrival.time.load(std::memory_order_relaxed) - start;
                                        });
    Figures("floor", "floor", {}).report("two_hop", "ns", nanoseconds);
}

}  // namespace

void addFloors(Cases& cases)
{
    cases.push_back({"floor/copy", measureCopyAndFree});
    cases.push_back({"floor/free", measureFree});
    cases.push_back({"floor/two-hop", measureTwoHops});
    for (const size_t size : {100UL, 1000UL, 5000UL, 20000UL, 100000UL})
    {
        cases.push_back({"floor/shift/K=" + std::to_string(size),
                         [size](const Settings& settings) { measureShift(size, settings); }});
    }
}

}  // namespace OrvBench

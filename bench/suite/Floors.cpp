// What the scenarios are held against: the least that the same work can cost on this machine. Records are copied and
// freed by the service's own functions, so that a floor has the allocations that the records need, and nothing else.
#include <functional>
#include <string>
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

// Two looks at the clock, one right after the other: what stands in the time of everything that is timed by itself.
void measureClock(const Settings& settings)
{
    const int count = settings.quick ? 1000 : 1000000;
    std::vector<int64_t> samples;
    samples.reserve(count);
    for (int i = 0; i < count; ++i)
    {
        const int64_t before = nowNanoseconds();
        samples.push_back(nowNanoseconds() - before);
    }
    Figures("floor", "floor", {}).report("clock", "ns", meanOfMiddle(samples));
}

}  // namespace

void addFloors(Cases& cases)
{
    cases.push_back({"floor/copy", measureCopyAndFree});
    cases.push_back({"floor/free", measureFree});
    cases.push_back({"floor/clock", measureClock});
    for (const size_t size : {100UL, 1000UL, 5000UL, 20000UL, 100000UL})
    {
        cases.push_back({"floor/shift/K=" + std::to_string(size),
                         [size](const Settings& settings) { measureShift(size, settings); }});
    }
}

}  // namespace OrvBench

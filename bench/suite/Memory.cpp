// J: the memory that stays resident: of 100,000 stored records, beside what the allocator needs for as many; of an idle
// subscription; and of a timer, with the pool's thread on which it runs. What counts is memory that no file stands
// behind.
#include <atomic>
#include <fstream>
#include <stdexcept>
#include <string>

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

const unsigned int RECORDS = 100000;
const unsigned int AT_ONCE = 50;  // records under way: the memory of these is used again and again
const unsigned int SUBSCRIPTIONS = 256;
const unsigned int TIMERS = 100;
const long long HEARTBEAT = 3600;            // seconds
const int64_t PATIENCE = 100 * MILLISECOND;  // for a record that may be late, once it has been nudged

// Bytes.
double residentMemory()
{
    std::ifstream file("/proc/self/smaps_rollup");
    std::string word;
    double kilobytes = 0;
    while (file >> word)
    {
        if (word == "Anonymous:" && file >> kilobytes)
        {
            return kilobytes * 1024;
        }
    }
    throw std::runtime_error("the kernel does not tell how much memory is resident");
}

std::atomic<unsigned int> received{0};

OrvReturnT count(unsigned int, OrvOamSpiNbiNotificationValue_1*)
{
    received.fetch_add(1, std::memory_order_release);
    return OrvOk;
}

OrvReturnT ignore(unsigned int, OrvOamSpiNbiNotificationValue_1*)
{
    return OrvOk;
}

unsigned int registerHandler(OrvOamSpiNbiNotificationService& table,
                             OrvReturnT (*notify)(unsigned int, OrvOamSpiNbiNotificationValue_1*))
{
    OrvOamSpiNbiNotificationHandler_1 handler = {notify};
    unsigned int identifier = 0;
    requireOk(table.registerHandler(&handler, &identifier), "registerHandler");
    return identifier;
}

// heartbeat: seconds, 0 for none.
void subscribe(OrvOamSpiNbiNotificationService& table, unsigned int handler, long long heartbeat)
{
    unsigned int subscription = 0;
    requireOk(table.getSubscriptionHandle(&subscription), "getSubscriptionHandle");
    OrvNameValuePair* everything[] = {nullptr};
    requireOk(table.subscribe(handler, everything, subscription, 0, 0, heartbeat != 0, heartbeat), "subscribe");
}

void push(OrvOamSpiNbiNotificationService& table, OrvOamSpiNbiNotificationValue_1& record)
{
    ++record.sequenceNumber;
    ++record.eventTime;
    requireOk(table.pushNotification(record), "pushNotification");
}

// Pushes records in small portions, so that no more than a portion is under way at any time. A subscriber tells when
// the service is done with it. It may be late with the last ones until another one arrives: that is pushed then.
void pushAll(OrvOamSpiNbiNotificationService& table, OrvOamSpiNbiNotificationValue_1& record, unsigned int number)
{
    while (record.sequenceNumber < number)
    {
        for (unsigned int i = 0; i < AT_ONCE; ++i)
        {
            push(table, record);
        }
        const unsigned int last = record.sequenceNumber;
        int64_t late = nowNanoseconds() + 20 * MILLISECOND;
        while (received.load(std::memory_order_acquire) < last)
        {
            sleepUntil(nowNanoseconds() + MILLISECOND / 20);
            if (nowNanoseconds() > late)
            {
                push(table, record);
                late = nowNanoseconds() + PATIENCE;
            }
        }
    }
}

void measureRecords(const Settings& settings)
{
    ServiceHost host(settings.library, RECORDS);
    OrvOamSpiNbiNotificationService& table = host.table();
    const unsigned int handler = registerHandler(table, count);
    subscribe(table, handler, 0);
    OrvOamSpiNbiNotificationValue_1 record = benchRecord();
    pushAll(table, record, RECORDS / 100);
    const double before = residentMemory();
    const unsigned int first = record.sequenceNumber;
    pushAll(table, record, RECORDS);
    const double bytes = (residentMemory() - before) / (record.sequenceNumber - first) * RECORDS;
    requireOk(table.unregisterHandler(handler), "unregisterHandler");
    Figures("J", "service", {{"records", RECORDS}}).report("resident_records", "bytes", bytes);
}

// The copies alone: not even a list of them is kept.
void measureFloor(const Settings&)
{
    const double before = residentMemory();
    for (unsigned int i = 0; i < RECORDS; ++i)
    {
        // The process ends with this case.
        static_cast<void>(NotificationUtils::copyNotification(benchRecord()));
    }
    Figures("J", "floor", {{"records", RECORDS}}).report("resident_records", "bytes", residentMemory() - before);
}

// Threads that have been started touch their stacks when they get to run.
double settledMemory()
{
    const int times = 10;
    double last = residentMemory();
    for (int same = 0; same < times;)
    {
        sleepUntil(nowNanoseconds() + 5 * MILLISECOND);
        const double now = residentMemory();
        same = now == last ? same + 1 : 0;
        last = now;
    }
    return last;
}

void measureSubscriptions(const Settings& settings)
{
    ServiceHost host(settings.library, 5000);
    OrvOamSpiNbiNotificationService& table = host.table();
    const unsigned int handler = registerHandler(table, ignore);
    const auto subscribeAll = [&table, handler](unsigned int number, long long heartbeat)
    {
        const double before = settledMemory();
        for (unsigned int i = 0; i < number; ++i)
        {
            subscribe(table, handler, heartbeat);
        }
        return (settledMemory() - before) / number;
    };
    // What the first ones need, the others find.
    subscribeAll(SUBSCRIPTIONS / 8, 0);
    subscribeAll(2, HEARTBEAT);
    const double perSubscription = subscribeAll(SUBSCRIPTIONS, 0);
    const double perTimer = subscribeAll(TIMERS, HEARTBEAT) - perSubscription;
    requireOk(table.unregisterHandler(handler), "unregisterHandler");
    Figures("J", "service", {{"subscriptions", SUBSCRIPTIONS}}).report("per_subscription", "bytes", perSubscription);
    Figures("J", "service", {{"timers", TIMERS}}).report("per_timer", "bytes", perTimer);
}

}  // namespace

void addMemory(Cases& cases)
{
    cases.push_back({"J/service/records", measureRecords});
    cases.push_back({"J/floor/records", measureFloor});
    cases.push_back({"J/service/subscriptions", measureSubscriptions});
}

}  // namespace OrvBench

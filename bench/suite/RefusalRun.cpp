#include "RefusalRun.h"

#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "Allocations.h"
#include "Clock.h"
#include "Peers.h"

namespace OrvBench
{

namespace
{

const unsigned int STORE = 5000;
const std::chrono::milliseconds STANDSTILL(20);
const int64_t PATIENCE = 60 * NANOSECONDS;

const char DN[] = "ManagedElement=ne-00001,interfaces=1,interface=e0,address=01";
static_assert(sizeof(DN) - 1 == 60, "the DN has 60 characters");

// Holds a handler up.
class Hold
{
public:
    void close()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _closed = true;
    }

    void open()
    {
        const std::lock_guard<std::mutex> lock(_mutex);
        _closed = false;
        _changed.notify_all();
    }

    // What a handler calls.
    void pass()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _inside = true;
        _changed.notify_all();
        _changed.wait(lock, [this] { return !_closed; });
        _inside = false;
    }

    // Whether a handler is held, or comes to be within a short while.
    bool hasVisitor()
    {
        std::unique_lock<std::mutex> lock(_mutex);
        return _changed.wait_for(lock, STANDSTILL, [this] { return _inside; });
    }

private:
    std::mutex _mutex;
    std::condition_variable _changed;
    bool _closed = false;
    bool _inside = false;
};

// What the handlers need.
Hold acceptorHold;
Hold gateHold;
std::atomic<int64_t> received{0};  // event time of the record that the accepting subscriber has received last
std::atomic<bool> disturbed{false};

OrvReturnT accept(unsigned int, OrvOamSpiNbiNotificationValue_1* record)
{
    acceptorHold.pass();
    if (record->eventTime != received + 1)
    {
        disturbed = true;
    }
    received = record->eventTime;
    return OrvOk;
}

OrvReturnT holdUp(unsigned int, OrvOamSpiNbiNotificationValue_1*)
{
    gateHold.pass();
    return OrvOk;
}

OrvReturnT refuse(unsigned int, OrvOamSpiNbiNotificationValue_1*)
{
    disturbed = true;
    return OrvOk;
}

// The kernel's clock of the CPU time of a thread of this process; pthread_getcpuclockid makes it the same way.
clockid_t cpuClock(pid_t thread)
{
    const unsigned int perThreadCpuTime = 6;
    return static_cast<clockid_t>((~static_cast<unsigned int>(thread) << 3U) | perThreadCpuTime);
}

int64_t read(clockid_t clock)
{
    timespec time = timespec();
    if (clock_gettime(clock, &time) != 0)
    {
        throw std::runtime_error("the CPU time of a thread cannot be read");
    }
    return time.tv_sec * NANOSECONDS + time.tv_nsec;
}

// CPU time by thread, without the calling one.
std::map<pid_t, int64_t> otherThreads()
{
    std::map<pid_t, int64_t> times;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
    {
        const pid_t thread = std::atoi(entry.path().filename().c_str());
        if (thread != getpid())
        {
            times[thread] = read(cpuClock(thread));
        }
    }
    return times;
}

// While the store is filled only the service thread and the caller, the main thread, have anything to do.
clockid_t fillAndFindServiceThread(ServiceHost& host)
{
    const std::map<pid_t, int64_t> before = otherThreads();
    host.fillStore();
    pid_t busiest = 0;
    int64_t most = 0;
    for (const auto& [thread, time] : otherThreads())
    {
        const auto found = before.find(thread);
        const int64_t spent = found == before.end() ? 0 : time - found->second;
        if (spent > most)
        {
            busiest = thread;
            most = spent;
        }
    }
    if (busiest == 0)
    {
        throw std::runtime_error("the service thread is not found");
    }
    return cpuClock(busiest);
}

unsigned int registerHandler(OrvOamSpiNbiNotificationService& table,
                             OrvReturnT (*notify)(unsigned int, OrvOamSpiNbiNotificationValue_1*))
{
    OrvOamSpiNbiNotificationHandler_1 handler = {notify};
    unsigned int handlerId = 0;
    requireOk(table.registerHandler(&handler, &handlerId), "registerHandler");
    return handlerId;
}

}  // namespace

Refusal::Refusal(const char* name, const char* expression) : _name(name), _expression(expression) {}

Refusal Refusal::subtree()
{
    using OrvTest::node;
    Refusal refusal("", "");
    OrvTest::Node address = node("address");
    address.key("02");
    OrvTest::Node interface = node("interface");
    interface.child(address);
    OrvTest::Node interfaces = node("interfaces");
    interfaces.child(interface);
    OrvTest::Node root = node("ManagedElement");
    root.key("ne-00001").child(interfaces);
    refusal._trees = std::make_shared<OrvTest::Trees>(std::vector<OrvTest::Node>{root});
    return refusal;
}

void Refusal::subscribe(OrvOamSpiNbiNotificationService& table, unsigned int handlerId, unsigned int subscription) const
{
    if (_trees)
    {
        requireOk(table.rfcFilterSubscribe(handlerId, _trees->get(), subscription, 0, 0, false, 0),
                  "rfcFilterSubscribe");
        return;
    }
    OrvNameValuePair pair = {_name.c_str(), _expression.c_str()};
    OrvNameValuePair* pairs[] = {&pair, nullptr};
    requireOk(table.subscribe(handlerId, pairs, subscription, 0, 0, false, 0), "subscribe");
}

RefusalRun::RefusalRun(const std::string& library)
    : _host(library, STORE),
      _table(_host.table()),
      _record(benchRecord()),
      _dn(DN),
      _serviceClock(fillAndFindServiceThread(_host))
{
    _record.dn = &_dn[0];
    _record.eventTime = STORE + 1;
    received = _record.eventTime;
    disturbed = false;
    _acceptingHandler = registerHandler(_table, accept);
    _gateHandler = registerHandler(_table, holdUp);
    _refusingHandler = registerHandler(_table, refuse);
    OrvNameValuePair* everything[] = {nullptr};
    requireOk(_table.subscribe(_acceptingHandler, everything, newSubscription(), 0, 0, false, 0), "subscribe");
}

RefusalRun::~RefusalRun()
{
    gateHold.open();
    acceptorHold.open();
}

const char* RefusalRun::dn()
{
    return DN;
}

unsigned int RefusalRun::newSubscription()
{
    unsigned int subscription = 0;
    requireOk(_table.getSubscriptionHandle(&subscription), "getSubscriptionHandle");
    return subscription;
}

void RefusalRun::subscribe(unsigned int count, const Refusal& refusal)
{
    for (unsigned int i = 0; i < count; ++i)
    {
        const unsigned int subscription = newSubscription();
        refusal.subscribe(_table, _refusingHandler, subscription);
        _refusing.push_back(subscription);
    }
}

void RefusalRun::unsubscribeAll()
{
    for (const unsigned int subscription : _refusing)
    {
        requireOk(_table.unsubscribe(subscription), "unsubscribe");
    }
    _refusing.clear();
}

int64_t RefusalRun::serviceTime(unsigned int records)
{
    int64_t time = 0;
    runBatch(
        records, [&] { time = read(_serviceClock); }, [&] { time = read(_serviceClock) - time; });
    return time;
}

uint64_t RefusalRun::allocations(unsigned int records)
{
    uint64_t number = 0;
    runBatch(records, Allocations::start, [&] { number = Allocations::stop(); });
    return number;
}

void RefusalRun::check() const
{
    if (disturbed)
    {
        throw std::runtime_error("a subscriber has received what it refuses, or missed what it accepts");
    }
}

OrvReturnT RefusalRun::push()
{
    ++_record.eventTime;
    return _table.pushNotification(_record);
}

void RefusalRun::runBatch(unsigned int records, const std::function<void()>& begin, const std::function<void()>& end)
{
    acceptorHold.close();
    gateHold.close();
    // The gate takes nothing of the batch, in case the removal comes too late for the first records of it.
    const unsigned int gate = newSubscription();
    Refusal("objectDeleted", ".*").subscribe(_table, _gateHandler, gate);
    _record.notificationType = objectDeleted;
    requireOk(push(), "pushNotification");
    pushUntil([] { return acceptorHold.hasVisitor(); });
    pushUntil([] { return gateHold.hasVisitor(); });
    _record.notificationType = objectCreated;

    begin();
    OrvReturnT removed = OrvOk;
    std::thread removal([&] { removed = _table.unsubscribe(gate); });
    OrvReturnT pushed = OrvOk;
    for (unsigned int i = 0; i < records && pushed == OrvOk; ++i)
    {
        pushed = push();
    }
    gateHold.open();
    removal.join();
    requireOk(removed, "unsubscribe");
    requireOk(pushed, "pushNotification");
    // When one more is in the store, all before it have been offered.
    requireOk(push(), "pushNotification");
    awaitStored();
    end();

    acceptorHold.open();
    pushUntil(
        [this]
        {
            const int64_t last = _record.eventTime;
            const int64_t patience = nowNanoseconds() + STANDSTILL.count() * MILLISECOND;
            while (received != last && nowNanoseconds() < patience)
            {
                sleepUntil(nowNanoseconds() + MILLISECOND);
            }
            return received == last;
        });
}

// A record that a delivery run misses as it ends waits for the next arrival. isDone waits a while by itself.
void RefusalRun::pushUntil(const std::function<bool()>& isDone)
{
    const int64_t end = nowNanoseconds() + PATIENCE;
    while (!isDone())
    {
        if (nowNanoseconds() > end)
        {
            throw std::runtime_error("a record does not arrive");
        }
        requireOk(push(), "pushNotification");
    }
}

// The store is full and the event times are consecutive, so the record that has left it tells which one came last.
void RefusalRun::awaitStored()
{
    const int64_t end = nowNanoseconds() + PATIENCE;
    long long aged = 0;
    while (aged != _record.eventTime - STORE)
    {
        if (nowNanoseconds() > end)
        {
            throw std::runtime_error("a record is not stored");
        }
        sleepUntil(nowNanoseconds() + MILLISECOND);
        requireOk(_table.getLastAgedNotificationTime(&aged), "getLastAgedNotificationTime");
    }
}

}  // namespace OrvBench

#include "World.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <stdexcept>

#include "Crossing.h"

namespace OrvTest
{

namespace
{

const int TIMEOUT_SECONDS = 20;  // less than that of the run, so that the run can tell what it waited for

// Nanoseconds since the Unix epoch, before every record of these tests.
const uint64_t LONG_AGO = 1000;

// Longer than anything here takes, so that a nudge seldom comes.
const std::chrono::seconds STALL(1);

// Tells a nudge from all others.
const int64_t NUDGE_TIME = 8999999999999999999;

// Types of records without a DN.
const char* const OVERFLOW = "type 4";
const char* const REPLAY_COMPLETE = "type 6";

World* theWorld = nullptr;

void wakeTheWorld()
{
    theWorld->wake();
}

// The DN, or the type of a record without, or of one that could not be copied for its subscriber nothing.
std::string nameOf(const OrvOamSpiNbiNotificationValue_1* record)
{
    if (record == nullptr)
    {
        return "null";
    }
    return record->dn != nullptr ? record->dn : "type " + std::to_string(record->notificationType);
}

bool contains(const std::vector<std::string>& all, const std::string& one)
{
    return std::find(all.begin(), all.end(), one) != all.end();
}

void require(bool fact, const char* what)
{
    if (!fact)
    {
        throw std::runtime_error(what);
    }
}

FakeFramework& prepared(FakeFramework& framework, const std::function<void(FakeFramework&)>& preparation)
{
    framework.log().echoToStandardError(true);
    if (preparation)
    {
        preparation(framework);
    }
    return framework;
}

}  // namespace

World::World(const std::function<void(FakeFramework&)>& beforeLoading)
    : component(prepared(framework, beforeLoading)), _initialised(false), _started(false), _witness(0)
{
    theWorld = this;
    FaultLayer::whenThereIsNews(wakeTheWorld);
    for (const char* const type : {CM_EVENT_TYPE, CLOCK_EVENT_TYPE})
    {
        framework.plan().whenCalled(std::string("addSubscription:") + type, [this] { wake(); });
    }
}

World::~World()
{
    FaultLayer::whenThereIsNews(nullptr);
}

ZelReturnT World::init()
{
    const ZelReturnT result = component.initWithConfiguration(configurationWithBufferSize(std::to_string(BUFFER_SIZE)));
    _initialised = result == OrvOk;
    return result;
}

ZelReturnT World::start()
{
    const std::string listen = std::string("addSubscription:") + CLOCK_EVENT_TYPE;
    const unsigned int before = framework.plan().count(listen);
    FaultLayer::threadsAre(Actor::serviceThread);
    const ZelReturnT result = component.start();
    FaultLayer::threadsAre(Actor::poolThread);
    _started = _started || result == OrvOk || result == OrvNotRunning;
    if (result == OrvOk)
    {
        waitUntil([&] { return FaultLayer::serviceThreads() == 0 || framework.plan().count(listen) > before; });
    }
    return result;
}

ZelReturnT World::stop()
{
    const ZelReturnT result = component.stop();
    if (FaultLayer::serviceThreads() == 0)
    {
        _started = false;
        _witness = 0;
    }
    return result;
}

ZelReturnT World::terminate()
{
    _initialised = false;
    return component.terminate();
}

void World::serve(const std::function<void(World&)>& others)
{
    require(init() == OrvOk, "init");
    require(start() == OrvOk, "start");
    if (others)
    {
        others(*this);
    }
    _witness = addSubscriber();
}

OrvReturnT World::registerHandler(unsigned int& id)
{
    OrvOamSpiNbiNotificationHandler_1 handler = {notify};
    const Crossing crossing(Crossing::toService);
    return table().registerHandler(&handler, &id);
}

OrvReturnT World::unregisterHandler(unsigned int id)
{
    const Crossing crossing(Crossing::toService);
    return table().unregisterHandler(id);
}

OrvReturnT World::newHandle(unsigned int& handle)
{
    const Crossing crossing(Crossing::toService);
    return table().getSubscriptionHandle(&handle);
}

OrvReturnT World::subscribe(unsigned int id, unsigned int handle, const LegacyFilter& filter, long long startTime,
                            long long stopTime, bool heartbeatSupported, long long heartbeatInterval)
{
    const Crossing crossing(Crossing::toService);
    return table().subscribe(id, filter.get(), handle, startTime, stopTime, heartbeatSupported, heartbeatInterval);
}

OrvReturnT World::subscribeSubtree(unsigned int id, unsigned int handle, Trees& wanted, long long startTime,
                                   long long stopTime, bool heartbeatSupported, long long heartbeatInterval)
{
    OrvOamSpiNbiNotificationSubTree_1** const filters = wanted.get();
    const Crossing crossing(Crossing::toService);
    return table().rfcFilterSubscribe(id, filters, handle, startTime, stopTime, heartbeatSupported, heartbeatInterval);
}

OrvReturnT World::unsubscribe(unsigned int handle)
{
    const Crossing crossing(Crossing::toService);
    return table().unsubscribe(handle);
}

OrvReturnT World::push(const Notification& notification)
{
    const Crossing crossing(Crossing::toService);
    return table().pushNotification(*notification);
}

OrvReturnT World::query(TimeQuery entry, long long& time)
{
    const Crossing crossing(Crossing::toService);
    return entry(&time);
}

unsigned int World::addSubscriber(const std::vector<std::pair<std::string, std::string>>& filters, long long startTime)
{
    unsigned int id = 0;
    unsigned int handle = 0;
    require(registerHandler(id) == OrvOk, "registerHandler");
    require(newHandle(handle) == OrvOk, "getSubscriptionHandle");
    require(subscribe(id, handle, LegacyFilter(filters), startTime) == OrvOk, "subscribe");
    return handle;
}

unsigned int World::addSubtreeSubscriber(const std::vector<Node>& nodes)
{
    trees = Trees(nodes);
    unsigned int id = 0;
    unsigned int handle = 0;
    require(registerHandler(id) == OrvOk, "registerHandler");
    require(newHandle(handle) == OrvOk, "getSubscriptionHandle");
    require(subscribeSubtree(id, handle, trees) == OrvOk, "rfcFilterSubscribe");
    return handle;
}

void World::deliver(const Notification& notification)
{
    require(push(notification) == OrvOk && waitFor(_witness, notification->dn), "a record got lost");
    waitForRest();
}

OrvReturnT World::notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1* record)
{
    const Crossing crossing(Crossing::toTest);
    if (record != nullptr && record->eventTime == NUDGE_TIME)
    {
        return OrvOk;
    }
    const std::string what = nameOf(record);
    Answer answer;
    {
        std::unique_lock<std::mutex> lock(theWorld->_mutex);
        theWorld->_received[handle].push_back(what);
        answer = theWorld->_answer;
        theWorld->_changed.notify_all();
        theWorld->_changed.wait(lock, [&] { return theWorld->_heldAt != std::make_pair(handle, what); });
    }
    return answer ? answer(handle, what) : static_cast<OrvReturnT>(OrvOk);
}

std::vector<std::string> World::received(unsigned int handle)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _received[handle];
}

std::vector<std::string> World::stored()
{
    std::vector<std::string> all;
    do
    {
        const unsigned int handle = addSubscriber({}, 1);
        require(waitForReplay(handle), "a replay does not end");
        unsubscribe(handle);
        all = received(handle);
    } while (!contains(all, REPLAY_COMPLETE));
    return all;
}

// A run that ends while the replay is queued may leave the rest of it to the next record, which then purges a full
// queue.
bool World::waitForReplay(unsigned int handle)
{
    return waitForOneOf(handle, {REPLAY_COMPLETE, OVERFLOW});
}

bool World::hasReceived(unsigned int handle, const std::string& what)
{
    return contains(received(handle), what);
}

bool World::waitFor(unsigned int handle, const std::string& what)
{
    return waitForOneOf(handle, {what});
}

bool World::waitForOneOf(unsigned int handle, const std::vector<std::string>& whats)
{
    const auto hasOne = [&](const std::vector<std::string>& all)
    { return std::find_first_of(all.begin(), all.end(), whats.begin(), whats.end()) != all.end(); };
    waitUntil([&] { return hasOne(_received[handle]) || FaultLayer::serviceThreads() == 0; });
    return hasOne(received(handle));
}

bool World::waitFor(unsigned int handle, size_t count)
{
    waitUntil([&] { return _received[handle].size() >= count || FaultLayer::serviceThreads() == 0; });
    return received(handle).size() >= count;
}

void World::waitForRest()
{
    waitUntil([] { return FaultLayer::isServiceThreadWaiting() || FaultLayer::serviceThreads() == 0; });
}

void World::waitForRuns(unsigned int held)
{
    // Each run has its delivery token.
    waitUntil([held] { return FaultLayer::heldMutexes() <= held; });
}

void World::waitUntil(const std::function<bool()>& fact)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(TIMEOUT_SECONDS);
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_changed.wait_for(lock, STALL, fact))
    {
        if (std::chrono::steady_clock::now() >= deadline)
        {
            throw std::runtime_error("waited in vain");
        }
        // A record that an ending run has missed waits for the next one.
        if (_witness != 0)
        {
            lock.unlock();
            push(makeNotification(NUDGE_TIME, "Nudge=1", notificationComplete));
            lock.lock();
        }
    }
}

void World::wake()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _changed.notify_all();
}

void World::answerWith(const Answer& wanted)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _answer = wanted;
}

void World::drain(unsigned int handle)
{
    // Behind it, the service thread has offered all that came before to every subscription.
    deliver(makeNotification(1000001, "Fence=1", objectCreated, {}));
    framework.router().publishClockChange(LONG_AGO);
    require(waitFor(handle, "type 9"), "a notice got lost");
}

void World::holdAt(unsigned int handle, const std::string& what)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _heldAt = {handle, what};
}

void World::release()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _heldAt = {};
    _changed.notify_all();
}

void World::tell()
{
    _told = true;
    wake();
}

void World::examine(Facts& facts)
{
    // A thread that ends at its very beginning may be noticed by start.
    facts.threadEnded = _started && FaultLayer::serviceThreads() == 0;
    require(_initialised || init() == OrvOk, "init after the fault");
    require(FaultLayer::serviceThreads() != 0 || start() == OrvOk, "start after the fault");
    if (_witness == 0)
    {
        _witness = addSubscriber();
    }
    facts.served = push(makeNotification(1000000, "Served=1", objectCreated)) == OrvOk && waitFor(_witness, "Served=1");
    checkEntries(facts);
}

void World::checkEntries(Facts& facts)
{
    unsigned int id = 0;
    unsigned int handle = 0;
    unsigned int subtreeHandle = 0;
    long long time = 0;
    Trees everything({node("A")});
    facts.entriesWork =
        registerHandler(id) == OrvOk && newHandle(handle) == OrvOk && newHandle(subtreeHandle) == OrvOk &&
        subscribe(id, handle, LegacyFilter(), 1) == OrvOk && subscribeSubtree(id, subtreeHandle, everything) == OrvOk &&
        waitForReplay(handle) && query(table().getOldestBufferTimestamp, time) == OrvOk && time != 0 &&
        query(table().getLastAgedNotificationTime, time) == OrvOk &&
        query(table().getBufferCreationTime, time) == OrvOk && time != 0 && unsubscribe(handle) == OrvOk &&
        unregisterHandler(id) == OrvOk && unsubscribe(subtreeHandle) == OrvNotFound;
}

void World::leave(Facts& facts)
{
    const bool stopped = stop() == OrvOk && terminate() == OrvOk;
    facts.consumers = static_cast<unsigned int>(framework.router().consumers());
    facts.held = FaultLayer::heldMutexes();
    facts.stopped = component.unload() && stopped;
    facts.threads = FaultLayer::threads();
    facts.unjoined = FaultLayer::unjoinedThreads();
    facts.blocks = FaultLayer::blocks();
    facts.foreignBlocks = FaultLayer::foreignBlocks();
    if (facts.blocks + facts.foreignBlocks != 0)
    {
        FaultLayer::describeBlocks();
    }
}

}  // namespace OrvTest

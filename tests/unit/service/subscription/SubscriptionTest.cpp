#include "SubscriptionTest.h"

#include <algorithm>
#include <cstring>

#include "DeliveryToken.h"
#include "LogCheck.h"
#include "NotificationThreadPoolManager.h"
#include "OrvThreadLock.h"

namespace OrvTest
{

using OrvNbiNotificationService::NotificationThreadPoolManager;

namespace
{

typedef Orv::OrvThreadLock<Poco::FastMutex> QueueLock;

const int POOL_MAXIMUM = 510;
const int POOL_MINIMUM = 2;

template <typename Wanted>
std::vector<std::string> tracesOf(const std::vector<LogLine>& lines, const std::vector<std::string>& functions,
                                  Wanted wanted)
{
    std::vector<LogLine> chosen;
    std::copy_if(
        lines.begin(), lines.end(), std::back_inserter(chosen),
        [&](const LogLine& line)
        { return wanted(line) && std::find(functions.begin(), functions.end(), line.function) != functions.end(); });
    return traces(chosen);
}

}  // namespace

bool ScriptedFilter::match(const OrvOamSpiNbiNotificationValue_1& notification)
{
    ++_script.matchCalls;
    return _script.match(notification);
}

void ScriptedFilter::getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1& notification,
                                                   std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications)
{
    ++_script.deletesCalls;
    _script.deletes(notification, notifications);
}

bool ScriptedFilter::getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1& notification,
                                               OrvOamSpiNbiNotificationValue_1* selected)
{
    ++_script.selectCalls;
    return _script.select(notification, selected);
}

TokenHold::TokenHold(NotificationSubscription& subscription) : _subscription(subscription)
{
    OrvNbiNotificationService::waitForToken(_subscription._processMutex);
}

TokenHold::~TokenHold()
{
    OrvNbiNotificationService::giveToken(_subscription._processMutex);
}

NarrowPool::NarrowPool(int freeThreads)
{
    // Idle threads of earlier tests would count beyond the maximum.
    NotificationThreadPoolManager::instance().stopAll();
    Poco::ThreadPool& pool = NotificationThreadPoolManager::instance().getThreadPool();
    pool.addCapacity(POOL_MINIMUM - POOL_MAXIMUM);
    _gate = std::make_unique<PoolGate>(pool, POOL_MINIMUM - freeThreads);
}

NarrowPool::~NarrowPool()
{
    _gate.reset();
    Poco::ThreadPool& pool = NotificationThreadPoolManager::instance().getThreadPool();
    pool.joinAll();
    pool.addCapacity(POOL_MAXIMUM - POOL_MINIMUM);
}

RunGate::RunGate(FakeFramework& framework) : _framework(framework), _state(std::make_shared<State>())
{
    const std::thread::id here = std::this_thread::get_id();
    const std::shared_ptr<State> state = _state;
    _framework.log().whenLine(LogLine::trace, " >> ",
                              [here, state]
                              {
                                  if (std::this_thread::get_id() != here)
                                  {
                                      std::unique_lock<std::mutex> lock(state->mutex);
                                      state->changed.wait(lock, [&] { return state->open; });
                                  }
                              });
    _framework.setLevel(8);
}

RunGate::~RunGate()
{
    _framework.setLevel(6);
    _framework.log().whenLine(LogLine::trace, "", nullptr);
    const std::lock_guard<std::mutex> lock(_state->mutex);
    _state->open = true;
    _state->changed.notify_all();
}

StopInProgress::StopInProgress(NotificationSubscription& subscription)
    : _thread(
          [this, &subscription]
          {
              subscription.stop();
              _returned.store(true);
          })
{
}

void StopInProgress::join()
{
    if (_thread.joinable())
    {
        _thread.join();
    }
}

SubscriptionTest::SubscriptionTest()
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    clock.set(NOW);
}

SubscriptionTest::~SubscriptionTest()
{
    framework.log().whenLine(LogLine::trace, "", nullptr);
    handler.answerAlways(OrvOk);
    handler.release();
    if (subscription)
    {
        subscription->stop();
        subscription.reset();
    }
    pool().joinAll();
}

NotificationSubscription& SubscriptionTest::subscribe(const Request& request)
{
    subscription = std::make_unique<NotificationSubscription>(
        HANDLE, RecordingHandler::handlerRecord(), request.withFilter ? new ScriptedFilter(filter) : nullptr,
        request.withBuffer ? &buffer : nullptr, request.startTime, request.stopTime, request.heartbeatSupported,
        request.heartbeatInterval, request.queueLimit);
    return *subscription;
}

Request SubscriptionTest::replayFrom(long long startTime)
{
    Request request;
    request.startTime = startTime;
    return request;
}

Request SubscriptionTest::until(long long stopTime)
{
    Request request;
    request.stopTime = stopTime;
    return request;
}

Request SubscriptionTest::withHeartbeat(long long interval)
{
    Request request;
    request.heartbeatSupported = true;
    request.heartbeatInterval = interval;
    return request;
}

Request SubscriptionTest::withLimit(unsigned int queueLimit)
{
    Request request;
    request.queueLimit = queueLimit;
    return request;
}

void SubscriptionTest::store(int64_t eventTime, const std::string& dn)
{
    ASSERT_TRUE(buffer.pushNotification(*makeNotification(eventTime, dn, objectCreated)));
}

void SubscriptionTest::ageOut(int64_t eventTime)
{
    store(eventTime, "aged=1");
    while (buffer.getLastAgedNotificationTime() == 0)
    {
        store(eventTime + SECOND, "kept=1");
    }
    ASSERT_EQ(buffer.getLastAgedNotificationTime(), eventTime);
}

void SubscriptionTest::notify(int64_t eventTime, const std::string& dn, int32_t type)
{
    subscription->notify(*makeNotification(eventTime, dn, type));
}

void SubscriptionTest::notifyControl(int32_t type, int64_t eventTime)
{
    subscription->notify(*Notification(eventTime, nullptr, type, {}));
}

void SubscriptionTest::waitUntilIdle()
{
    const TokenHold token(*subscription);
}

void SubscriptionTest::deliverAll()
{
    waitUntilIdle();
    while (subscription->queueSize() != 0)
    {
        // A record that came as a run was ending waits for the next look at the queue.
        subscription->checkQueue();
        waitUntilIdle();
    }
}

bool SubscriptionTest::tokenIsFree()
{
    if (!OrvNbiNotificationService::tryTakeToken(subscription->_processMutex))
    {
        return false;
    }
    OrvNbiNotificationService::giveToken(subscription->_processMutex);
    return true;
}

const OrvOamSpiNbiNotificationValue_1& SubscriptionTest::queueFront()
{
    const QueueLock lock(subscription->_queueMutex);
    return *subscription->_queue.front();
}

std::vector<int32_t> SubscriptionTest::queuedTypes()
{
    const QueueLock lock(subscription->_queueMutex);
    std::vector<int32_t> types;
    for (const OrvOamSpiNbiNotificationValue_1* record : subscription->_queue)
    {
        types.push_back(record->notificationType);
    }
    return types;
}

std::vector<int64_t> SubscriptionTest::queuedTimes()
{
    const QueueLock lock(subscription->_queueMutex);
    std::vector<int64_t> times;
    for (const OrvOamSpiNbiNotificationValue_1* record : subscription->_queue)
    {
        times.push_back(record->eventTime);
    }
    return times;
}

std::vector<std::string> SubscriptionTest::queuedDns()
{
    const QueueLock lock(subscription->_queueMutex);
    std::vector<std::string> dns;
    for (const OrvOamSpiNbiNotificationValue_1* record : subscription->_queue)
    {
        dns.push_back(record->dn == nullptr ? "-" : record->dn);
    }
    return dns;
}

unsigned int SubscriptionTest::checkQueueCalls() const
{
    const std::vector<LogLine> lines = framework.lines();
    return static_cast<unsigned int>(std::count_if(lines.begin(), lines.end(),
                                                   [](const LogLine& line) {
                                                       return line.source == LogLine::trace &&
                                                              line.function == "checkQueue" && line.text == " >> ";
                                                   }));
}

std::vector<std::string> SubscriptionTest::tracesHere(const std::vector<std::string>& functions) const
{
    return tracesOf(framework.lines(), functions,
                    [](const LogLine& line) { return line.thread == std::this_thread::get_id(); });
}

std::vector<std::string> SubscriptionTest::tracesElsewhere(const std::vector<std::string>& functions) const
{
    return tracesOf(framework.lines(), functions,
                    [](const LogLine& line) { return line.thread != std::this_thread::get_id(); });
}

Poco::ThreadPool& SubscriptionTest::pool()
{
    return NotificationThreadPoolManager::instance().getThreadPool();
}

OrvOamSpiNbiNotificationValue_1* derivedRecord(int64_t eventTime, const std::string& dn, int32_t type)
{
    OrvOamSpiNbiNotificationValue_1* const record = new OrvOamSpiNbiNotificationValue_1();
    record->eventTime = eventTime;
    record->notificationType = type;
    record->dn = strdup(dn.c_str());
    return record;
}

}  // namespace OrvTest

// The stage for the tests of NotificationSubscription: a framework, a clock that stands still, a buffer, one handler
// and one subscription with a filter that does as it is told.
#pragma once

#include <Poco/ThreadPool.h>
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "FakeFramework.h"
#include "ManualClock.h"
#include "NotificationBuffer.h"
#include "NotificationSubscription.h"
#include "PoolGate.h"
#include "RecordingHandler.h"
#include "Records.h"
#include "SubscriptionFilter.h"

namespace OrvTest
{

using OrvNbiNotificationService::NotificationBuffer;
using OrvNbiNotificationService::NotificationSubscription;
using OrvNbiNotificationService::SubscriptionFilter;

// What a filter answers, and what it was asked. It outlives the filter, which belongs to the subscription.
// Threads: set up by the test before the filter is asked.
struct FilterScript
{
    typedef OrvOamSpiNbiNotificationValue_1 Record;

    std::function<bool(const Record&)> match = [](const Record&) { return true; };
    std::function<void(const Record&, std::vector<Record*>&)> deletes = [](const Record&, std::vector<Record*>&) {};
    std::function<bool(const Record&, Record*)> select = [](const Record&, Record*) { return false; };

    std::atomic<unsigned int> matchCalls{0};
    std::atomic<unsigned int> deletesCalls{0};
    std::atomic<unsigned int> selectCalls{0};
    std::atomic<unsigned int> destroyed{0};
};

class ScriptedFilter : public SubscriptionFilter
{
public:
    explicit ScriptedFilter(FilterScript& script) : _script(script) {}
    ~ScriptedFilter() override { ++_script.destroyed; }

    bool match(const OrvOamSpiNbiNotificationValue_1& notification) override;
    void getSubtreeDeleteNotifications(const OrvOamSpiNbiNotificationValue_1& notification,
                                       std::vector<OrvOamSpiNbiNotificationValue_1*>& notifications) override;
    bool getAttrSelectNotification(const OrvOamSpiNbiNotificationValue_1& notification,
                                   OrvOamSpiNbiNotificationValue_1* selected) override;

private:
    FilterScript& _script;
};

// What is asked of the subscription; by default nothing but live notifications.
struct Request
{
    long long startTime = 0;
    long long stopTime = 0;
    bool heartbeatSupported = false;
    long long heartbeatInterval = 0;
    unsigned int queueLimit = 100;
    bool withFilter = true;
    bool withBuffer = true;
};

// The delivery token in the hands of the test: no run starts while it lives, so the queue can be looked at.
class TokenHold
{
public:
    explicit TokenHold(NotificationSubscription& subscription);
    ~TokenHold();

    TokenHold(const TokenHold&) = delete;
    TokenHold& operator=(const TokenHold&) = delete;

private:
    NotificationSubscription& _subscription;
};

// The notification pool with no more than a given number of free threads.
class NarrowPool
{
public:
    explicit NarrowPool(int freeThreads);
    ~NarrowPool();

    NarrowPool(const NarrowPool&) = delete;
    NarrowPool& operator=(const NarrowPool&) = delete;

private:
    std::unique_ptr<PoolGate> _gate;
};

// Holds every thread but the test's own at its next entry trace, and so each delivery run before it looks at the queue.
// The level is 8 while it lives.
class RunGate
{
public:
    explicit RunGate(FakeFramework& framework);
    ~RunGate();

    RunGate(const RunGate&) = delete;
    RunGate& operator=(const RunGate&) = delete;

private:
    struct State
    {
        std::mutex mutex;
        std::condition_variable changed;
        bool open = false;
    };
    FakeFramework& _framework;
    std::shared_ptr<State> _state;  // also of the threads that are still passing
};

// stop() of a subscription, on a thread of its own.
class StopInProgress
{
public:
    explicit StopInProgress(NotificationSubscription& subscription);
    ~StopInProgress() { join(); }

    bool returned() const { return _returned.load(); }
    void join();

private:
    std::atomic<bool> _returned{false};
    std::thread _thread;
};

class SubscriptionTest : public testing::Test
{
protected:
    static constexpr unsigned int HANDLE = 7;
    static constexpr int64_t MILLISECOND = 1000;
    static constexpr int64_t SECOND = 1000 * MILLISECOND;
    static constexpr int64_t HOUR = 3600 * SECOND;
    static constexpr int64_t CREATED = 1600000000 * SECOND;  // the buffer's creation time
    static constexpr int64_t NOW = CREATED + 1000 * SECOND;

    SubscriptionTest();
    ~SubscriptionTest() override;

    NotificationSubscription& subscribe(const Request& request = Request());
    static Request replayFrom(long long startTime);
    static Request until(long long stopTime);
    static Request withHeartbeat(long long interval);
    static Request withLimit(unsigned int queueLimit);

    // Puts a record into the buffer.
    void store(int64_t eventTime, const std::string& dn);
    // Stores until the buffer has aged out exactly one record, which has the given time.
    void ageOut(int64_t eventTime);
    // Passes a live record, or a control record, to the subscription.
    void notify(int64_t eventTime, const std::string& dn, int32_t type = objectCreated);
    void notifyControl(int32_t type, int64_t eventTime = NOW);

    // Waits until no run is under way.
    void waitUntilIdle();
    // Waits until everything queued has been delivered; the handler must accept it.
    void deliverAll();
    bool tokenIsFree();

    // The front record, lent; the test must hold the token.
    const OrvOamSpiNbiNotificationValue_1& queueFront();
    std::vector<int32_t> queuedTypes();
    std::vector<int64_t> queuedTimes();
    std::vector<std::string> queuedDns();  // "-" for a null one

    // Runs of checkQueue so far. At trace level only.
    unsigned int checkQueueCalls() const;
    // The texts of the traces that this thread, or a pool thread, has written in these functions.
    std::vector<std::string> tracesHere(const std::vector<std::string>& functions) const;
    std::vector<std::string> tracesElsewhere(const std::vector<std::string>& functions) const;

    static Poco::ThreadPool& pool();

    FakeFramework framework;
    CommonSession session{framework};
    ManualClock clock{CREATED};
    NotificationBuffer buffer{10};
    FilterScript filter;
    RecordingHandler handler{HANDLE};
    std::unique_ptr<NotificationSubscription> subscription;
};

// A record that the caller owns, as a filter derives it: without attributes.
OrvOamSpiNbiNotificationValue_1* derivedRecord(int64_t eventTime, const std::string& dn, int32_t type);

}  // namespace OrvTest

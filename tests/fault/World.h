#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "FakeFramework.h"
#include "FaultLayer.h"
#include "ForkedRun.h"
#include "LoadedComponent.h"
#include "Records.h"
#include "SubtreeBuilder.h"

namespace OrvTest
{

const char CM_EVENT_TYPE[] = "ZelOamSpiCmEvent_Notification_1";
const char CLOCK_EVENT_TYPE[] = "ZelClockChangeEventType_1";

const unsigned int BUFFER_SIZE = 10;

// The loaded service in a fake framework, with subscribers, and what has happened to them. Lives in the child of a run.
// Threads: one drives it; the service's threads note what they bring.
class World
{
public:
    // beforeLoading is called when the framework is there, before the support library and the service have met it.
    explicit World(const std::function<void(FakeFramework&)>& beforeLoading = nullptr);
    ~World();

    // zelLCMinit with BUFFER_SIZE.
    ZelReturnT init();
    // Returns when the service listens for clock changes, when its thread has ended or when start has failed.
    ZelReturnT start();
    ZelReturnT stop();
    ZelReturnT terminate();
    // Initialised and started, with the healthy subscriber that takes everything. What others adds is served before.
    void serve(const std::function<void(World&)>& others = nullptr);

    // Calls of the table, as an agent makes them.
    OrvReturnT registerHandler(unsigned int& id);
    OrvReturnT unregisterHandler(unsigned int id);
    OrvReturnT newHandle(unsigned int& handle);
    OrvReturnT subscribe(unsigned int id, unsigned int handle, const LegacyFilter& filter, long long startTime = 0,
                         long long stopTime = 0, bool heartbeatSupported = false, long long heartbeatInterval = 0);
    OrvReturnT subscribeSubtree(unsigned int id, unsigned int handle, Trees& trees, long long startTime = 0,
                                long long stopTime = 0, bool heartbeatSupported = false,
                                long long heartbeatInterval = 0);
    OrvReturnT unsubscribe(unsigned int handle);
    OrvReturnT push(const Notification& notification);
    typedef OrvReturnT (*TimeQuery)(long long* time);
    OrvReturnT query(TimeQuery entry, long long& time);
    OrvOamSpiNbiNotificationService& table() { return component.table(); }

    // A new subscription, which takes everything unless told otherwise; its handle. Throws when it is refused.
    unsigned int addSubscriber(const std::vector<std::pair<std::string, std::string>>& filters = {},
                               long long startTime = 0);
    unsigned int addSubtreeSubscriber(const std::vector<Node>& nodes);
    // Pushes a record and returns when the healthy subscriber has it. Throws when it gets lost.
    void deliver(const Notification& notification);
    // What the subscription of this handle has received: the DN, or the type of a record without.
    std::vector<std::string> received(unsigned int handle);
    // What a replay of the whole buffer brings now: DNs, or types of records without.
    std::vector<std::string> stored();
    bool hasReceived(unsigned int handle, const std::string& what);
    unsigned int witness() const { return _witness; }

    // Waits until the subscription has received it: false when the service thread has ended before.
    bool waitFor(unsigned int handle, const std::string& what);
    // Waits until the subscription has received that many records in all: false when the service thread has ended
    // before.
    bool waitFor(unsigned int handle, size_t count);
    // Waits until the service thread is through with its batch, or has ended. To be called when a record of the batch
    // has been received.
    void waitForRest();
    // Waits until no delivery run is going but those that a test holds. To be called behind waitForRest.
    void waitForRuns(unsigned int held = 0);
    // Waits for a fact that a subscriber's record, a call of the framework or the end of the service thread brings.
    void waitUntil(const std::function<bool()>& fact);
    void wake();

    // Returns when the subscription has received all that is on its way to it. It gets a notice of a clock change.
    void drain(unsigned int handle);

    // What subscribers answer from now on, OrvOk at first.
    typedef std::function<OrvReturnT(unsigned int handle, const std::string& what)> Answer;
    void answerWith(const Answer& wanted);
    // From now on this subscription waits inside its handler when it receives this record, until release.
    void holdAt(unsigned int handle, const std::string& what);
    void release();
    // A word to whoever waits for it.
    void tell();
    bool isTold() const { return _told; }

    // After the fault: what has not come up is brought up, a service thread that has ended is started again, the
    // healthy subscriber is served, every entry of the table answers.
    void examine(Facts& facts);
    // Stop, terminate and unload, and what is left then.
    void leave(Facts& facts);

    FakeFramework framework;
    LoadedComponent component;
    Trees trees;                  // of a subtree subscription
    unsigned int subscriber = 0;  // the handle of the subscription that a scenario is about
    unsigned int handlerId = 0;   // and its handler

private:
    static OrvReturnT notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1* record);
    bool waitForOneOf(unsigned int handle, const std::vector<std::string>& whats);
    bool waitForReplay(unsigned int handle);
    void checkEntries(Facts& facts);

    bool _initialised;
    bool _started;
    unsigned int _witness;  // 0 for none

    std::mutex _mutex;
    std::condition_variable _changed;
    std::map<unsigned int, std::vector<std::string>> _received;
    std::atomic<bool> _told{false};
    Answer _answer;
    std::pair<unsigned int, std::string> _heldAt;
};

}  // namespace OrvTest

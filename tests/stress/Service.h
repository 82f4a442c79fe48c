#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <shared_mutex>
#include <string>

#include "FakeFramework.h"
#include "Ledger.h"
#include "LoadedComponent.h"

namespace OrvStress
{

// What the service has written into the log, by kind. Any other line from severity 4 on is a complaint.
struct LogCounts
{
    std::atomic<uint64_t> answers{0};                  // an answer of a handler that is none of the three
    std::atomic<uint64_t> exceptions{0};               // a handler has thrown
    std::atomic<uint64_t> notFound{0};                 // a subscription that was to be removed is gone
    std::atomic<uint64_t> notFoundByUnregistering{0};  // of these
    std::atomic<uint64_t> handlesInUse{0};
};

// The loaded component in its framework, with one subscription of its own, the witness: it wants everything and takes
// it at once, and so tells the ledger how far the service thread has come.
// Threads: the life cycle and the clock from one thread; the rest from any.
class Service
{
public:
    Service(Ledger& ledger, Complaints& complaints, unsigned int bufferSize);
    ~Service();

    OrvOamSpiNbiNotificationService& table() { return *_table; }
    OrvTest::FakeFramework& framework() { return *_framework; }
    const LogCounts& log() const { return _log; }
    unsigned int bufferSize() const { return _bufferSize; }

    void start();
    // Stops, calls whenStopped, and starts again.
    void restart(int reason, const std::function<void()>& whenStopped);
    void stop();
    // newTime: microseconds. No two changes to the same time.
    void changeClock(int64_t newTime);

    // What the replay buffer covers, microseconds; 0 while the service does not run.
    int64_t covered();

    // Held shared while something with a timer subscribes: an agent that subscribes so while the component is being
    // stopped can make it wait for ever, which is documented and not looked for here.
    std::shared_mutex& timers() { return _timers; }

    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

private:
    static OrvReturnT witness(unsigned int handle, OrvOamSpiNbiNotificationValue_1* notification);

    void expect(OrvReturnT result, const char* what);
    void judgeLine(const OrvTest::LogLine& line);
    void subscribeWitness();
    void see(const OrvOamSpiNbiNotificationValue_1& notification);

    static std::atomic<Service*> _current;

    Ledger& _ledger;
    Complaints& _complaints;
    const unsigned int _bufferSize;
    std::unique_ptr<OrvTest::FakeFramework> _framework;
    std::unique_ptr<OrvTest::LoadedComponent> _component;
    OrvOamSpiNbiNotificationService* _table;
    unsigned int _witnessId;
    bool _seen;  // the witness' calls never overlap
    Mark _lastSeen;
    std::shared_mutex _timers;
    LogCounts _log;
};

}  // namespace OrvStress

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "ServiceHost.h"
#include "SubtreeBuilder.h"

namespace OrvBench
{

// A filter, most often one that refuses every record of a RefusalRun. Outlives the subscriptions that are made with it.
class Refusal
{
public:
    // Of one name and one expression.
    Refusal(const char* name, const char* expression);
    // A tree of four levels of which the last one names another object.
    static Refusal subtree();

    void subscribe(OrvOamSpiNbiNotificationService& table, unsigned int handlerId, unsigned int subscription) const;

private:
    std::string _name;
    std::string _expression;
    std::shared_ptr<OrvTest::Trees> _trees;
};

// The service with one subscriber that accepts everything and any number that refuse everything, and what a batch of
// records costs its thread.
//
// What hangs on luck is kept out of a batch: the service thread is held up until all of it stands in the pipe, by a
// removal that waits for a handler, and so wakes up once; and the accepting subscriber is held in its handler, so that
// no delivery run is started.
// Threads:   one. One object at a time, since a handler is a function without a context.
// Failure:   std::runtime_error.
class RefusalRun
{
public:
    explicit RefusalRun(const std::string& library);
    ~RefusalRun();

    // Of the records that are pushed: 60 characters, four components.
    static const char* dn();

    void subscribe(unsigned int count, const Refusal& refusal);
    void unsubscribeAll();

    // CPU time of the service thread for a batch of this many records, at most half the store; nanoseconds.
    int64_t serviceTime(unsigned int records);
    // Allocations of the process during such a batch, with those of the producer.
    uint64_t allocations(unsigned int records);

    // Throws if a refusing subscriber has received a record, or if the accepting one has missed one.
    void check() const;

    RefusalRun(const RefusalRun&) = delete;
    RefusalRun& operator=(const RefusalRun&) = delete;

private:
    unsigned int newSubscription();
    OrvReturnT push();
    void runBatch(unsigned int records, const std::function<void()>& begin, const std::function<void()>& end);
    void pushUntil(const std::function<bool()>& isDone);
    void awaitStored();

    ServiceHost _host;
    OrvOamSpiNbiNotificationService& _table;
    OrvOamSpiNbiNotificationValue_1 _record;
    std::string _dn;
    clockid_t _serviceClock;  // CPU time of the service thread
    unsigned int _acceptingHandler = 0;
    unsigned int _gateHandler = 0;
    unsigned int _refusingHandler = 0;
    std::vector<unsigned int> _refusing;  // subscriptions
};

}  // namespace OrvBench

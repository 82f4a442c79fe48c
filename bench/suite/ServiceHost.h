#pragma once

#include <string>

#include "FakeFramework.h"
#include "LoadedComponent.h"
#include "OrvOamSpiNbiNotificationService_1.h"

namespace OrvBench
{

// Throws std::runtime_error, naming the call, if the result is not OrvOk.
void requireOk(OrvReturnT result, const char* call);

// The service as a host runs it: the library loaded, configured and started, a framework stand-in behind it, logging at
// the level of normal operation. What it logs as a warning or worse goes to standard error. Stops and unloads it at the
// end of its life.
// Threads:   made and destroyed by one thread; the table may be used by any.
// Failure:   std::runtime_error.
class ServiceHost
{
public:
    // library: path of liborv_notification_service.so; storeSize: records, at least 100.
    ServiceHost(const std::string& library, unsigned int storeSize);

    OrvOamSpiNbiNotificationService& table() { return _component.table(); }
    OrvTest::FakeFramework& framework() { return _framework; }

    // Pushes records, with sequence number 0 and ascending event times from 1 on, until the store has lost one; returns
    // when all are stored. For a service that has not been pushed to; without subscribers.
    void fillStore();

private:
    OrvTest::FakeFramework _framework;
    OrvTest::LoadedComponent _component;
    const unsigned int _storeSize;
};

}  // namespace OrvBench

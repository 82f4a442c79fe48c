#pragma once

#include <atomic>
#include <map>
#include <string>
#include <vector>

#include "CallPlan.h"
#include "FakeEventRouter.h"
#include "FakeManagedObjects.h"
#include "FakeModelRepository.h"
#include "LogSink.h"
#include "ZelMgmtSpi.h"
#include "ZelMwSpi.h"

namespace OrvTest
{

// A framework for tests: portals "1" and "3", event router, model repository "2", the managed objects with transactions
// and model repository "3", log and trace. Every call is counted and can be told to fail.
//
// The framework's functions carry no context, so one object of this class can live at a time; the tables themselves are
// static and outlive it, and without a live object they answer OrvFailure and drop what is logged.
//
// Threads:   any.
// Ownership: the tables are the fake's; a registered component's record stays the component's.
// Calls:     "getPortal:1", "getPortal:3", "portal1.getInterface:NAME", "portal3.getInterface:NAME" with the name of
//            the interface, "registerComponent", "unregisterComponent", and those of FakeEventRouter,
//            FakeModelRepository and FakeManagedObjects. A failing getPortal gives null.
class FakeFramework
{
public:
    FakeFramework();
    ~FakeFramework();

    ZelMgmtSpiInterfacePortalAccessor* accessor();

    CallPlan& plan() { return _plan; }
    FakeEventRouter& router() { return _router; }
    FakeModelRepository& model() { return _model; }
    FakeManagedObjects& objects() { return _objects; }
    LogSink& log() { return _log; }
    std::vector<LogLine> lines() const { return _log.lines(); }

    // What the log interface says from now on; 6 at first. The logging wrapper reads it at once.
    void setLevel(int level);
    int level() const { return _level.load(); }

    // Makes the interface of this name unknown to both portals, or known again.
    void withdraw(const std::string& interfaceName);
    void restore(const std::string& interfaceName);

    // The record that a component has registered, null if there is none.
    ZelMgmtSpiComponent* component() const { return _component.load(); }

    static FakeFramework* current();

    void* getPortal(const char* version);
    ZelReturnT getInterface(const char* portal, const ZelMgmtSpiInterface_1& id, void** result);
    ZelReturnT registerComponent(ZelMgmtSpiComponent* component);
    ZelReturnT unregisterComponent(ZelMgmtSpiComponent* component);

    FakeFramework(const FakeFramework&) = delete;
    FakeFramework& operator=(const FakeFramework&) = delete;

private:
    void* find(const ZelMgmtSpiInterface_1& id) const;

    CallPlan _plan;
    LogSink _log;
    std::atomic<int> _level;
    std::atomic<ZelMgmtSpiComponent*> _component;
    mutable std::mutex _mutex;
    std::map<std::string, bool> _withdrawn;
    FakeModelRepository _model;
    FakeManagedObjects _objects;
    FakeEventRouter _router;  // last: its thread uses all the others
};

// The support library with this framework as its host: orvCommonInit, and at the end orvCommonTerminate.
class CommonSession
{
public:
    explicit CommonSession(FakeFramework& framework);
    ~CommonSession();

    CommonSession(const CommonSession&) = delete;
    CommonSession& operator=(const CommonSession&) = delete;
};

}  // namespace OrvTest

#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "FakeFramework.h"
#include "LoadedComponent.h"
#include "SubtreeBuilder.h"

namespace OrvFuzz
{

// The loaded service in a fake framework, made once for the process and stopped at its exit. Three subscribers:
// one takes everything, one changes whose DN or attribute ends in "x", one a subtree with conditions, a class selection
// and an attribute selection. Each reads all of every record that it gets.
// Threads: one calls it; the handlers run on the service's.
class FuzzService
{
public:
    static FuzzService& instance();

    OrvOamSpiNbiNotificationService& table() { return _component.table(); }
    OrvTest::FakeFramework& framework() { return _framework; }

    // What the first subscriber has received since the last call, as textOf tells it, after waiting for all that was
    // pushed before.
    std::vector<std::string> received();

    FuzzService(const FuzzService&) = delete;
    FuzzService& operator=(const FuzzService&) = delete;

private:
    FuzzService();

    static OrvReturnT notify(unsigned int handle, OrvOamSpiNbiNotificationValue_1* notification);
    unsigned int newHandle();
    void addClasses();
    std::vector<OrvTest::Node> trees();

    unsigned int _all = 0;  // handle of the one that takes everything
    unsigned int _markers = 0;
    std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<std::string> _received;
    std::string _lastMarker;

    OrvTest::FakeFramework _framework;
    OrvTest::Trees _trees;
    OrvTest::LoadedComponent _component;  // last: its threads use all the others until it is stopped
};

}  // namespace OrvFuzz

#pragma once

#include <string>

#include "FakeFramework.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "TemporaryDirectory.h"
#include "ZelMgmtSpi.h"

namespace OrvTest
{

// A configuration file's text with this buffer size.
std::string configurationWithBufferSize(const std::string& size);

// The built library of the notification service, loaded with dlopen as a host loads it and reached through its tables
// alone.
// Threads:   the life cycle calls from one thread at a time.
// Ownership: at the end of its life it stops, terminates and unloads whatever the test has left.
class LoadedComponent
{
public:
    // Loads the library, after orvCommonInit with the framework. Throws std::runtime_error with the loader's text.
    explicit LoadedComponent(FakeFramework& framework, const std::string& path = libraryPath());
    ~LoadedComponent();

    // zelLCMinit with a file of this content, a path, or the framework's accessor and any path.
    ZelReturnT initWithConfiguration(const std::string& content);
    ZelReturnT initWithPath(const char* path);
    // Through the record that the component has registered.
    ZelReturnT start(int reason = ZelStateChangeActivate);
    ZelReturnT stop(int reason = ZelStateChangeDeactivate);
    ZelReturnT terminate();

    // The service's table, from the registered record.
    OrvOamSpiNbiNotificationService& table() const;
    ZelMgmtSpiComponent& record() const;
    const TemporaryDirectory& directory() const { return _directory; }

    // dlclose. True if the library has left the process.
    bool unload();
    static bool isLoaded(const std::string& path = libraryPath());
    static const char* libraryPath();

    LoadedComponent(const LoadedComponent&) = delete;
    LoadedComponent& operator=(const LoadedComponent&) = delete;

private:
    FakeFramework& _framework;
    CommonSession _session;
    TemporaryDirectory _directory;
    const std::string _path;
    void* _library;
    ZelLCMinitFunction _init;
    ZelLCMterminateFunction _terminate;
    ZelMgmtSpiComponent* _record;  // lives as long as the library, registered or not
    bool _started;
};

}  // namespace OrvTest

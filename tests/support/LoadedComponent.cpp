#include "LoadedComponent.h"

#include <dlfcn.h>

#include <stdexcept>

#include "Crossing.h"

namespace OrvTest
{

namespace
{

template <typename Function>
Function resolve(void* library, const char* name)
{
    void* symbol = dlsym(library, name);
    if (symbol == nullptr)
    {
        throw std::runtime_error(std::string("no symbol ") + name);
    }
    return reinterpret_cast<Function>(symbol);
}

}  // namespace

std::string configurationWithBufferSize(const std::string& size)
{
    return "<?xml version=\"1.0\"?>\n<configuration><OrvNbiNotificationService><bufferSize>" + size +
           "</bufferSize></OrvNbiNotificationService></configuration>\n";
}

const char* LoadedComponent::libraryPath()
{
    return ORV_COMPONENT_PATH;
}

LoadedComponent::LoadedComponent(FakeFramework& framework, const std::string& path)
    : _framework(framework),
      _session(framework),
      _path(path),
      _library(dlopen(_path.c_str(), RTLD_NOW | RTLD_LOCAL)),
      _init(nullptr),
      _terminate(nullptr),
      _record(nullptr),
      _started(false)
{
    if (_library == nullptr)
    {
        throw std::runtime_error(dlerror());
    }
    _init = resolve<ZelLCMinitFunction>(_library, "zelLCMinit");
    _terminate = resolve<ZelLCMterminateFunction>(_library, "zelLCMterminate");
}

LoadedComponent::~LoadedComponent()
{
    if (_library != nullptr)
    {
        if (_started)
        {
            stop();
        }
        if (_framework.component() != nullptr)
        {
            terminate();
        }
        unload();
    }
}

ZelReturnT LoadedComponent::initWithConfiguration(const std::string& content)
{
    return initWithPath(_directory.write("configuration.xml", content).c_str());
}

ZelReturnT LoadedComponent::initWithPath(const char* path)
{
    ZelReturnT result = OrvFailure;
    {
        const Crossing crossing(Crossing::toService);
        result = _init(_framework.accessor(), path);
    }
    if (_framework.component() != nullptr)
    {
        _record = _framework.component();
    }
    return result;
}

ZelReturnT LoadedComponent::start(int reason)
{
    ZelMgmtSpiComponent& component = record();
    const Crossing crossing(Crossing::toService);
    const ZelReturnT result = component.start(static_cast<ZelStateChangeReason>(reason));
    _started = _started || result == OrvOk;
    return result;
}

ZelReturnT LoadedComponent::stop(int reason)
{
    ZelMgmtSpiComponent& component = record();
    const Crossing crossing(Crossing::toService);
    const ZelReturnT result = component.stop(static_cast<ZelStateChangeReason>(reason));
    _started = false;
    return result;
}

ZelReturnT LoadedComponent::terminate()
{
    const Crossing crossing(Crossing::toService);
    return _terminate();
}

OrvOamSpiNbiNotificationService& LoadedComponent::table() const
{
    return *reinterpret_cast<OrvOamSpiNbiNotificationService*>(record().interfaceArray[0]);
}

ZelMgmtSpiComponent& LoadedComponent::record() const
{
    if (_record == nullptr)
    {
        throw std::runtime_error("no component has been registered");
    }
    return *_record;
}

bool LoadedComponent::unload()
{
    dlclose(_library);
    _library = nullptr;
    _record = nullptr;
    return !isLoaded(_path);
}

bool LoadedComponent::isLoaded(const std::string& path)
{
    void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (library == nullptr)
    {
        return false;
    }
    dlclose(library);
    return true;
}

}  // namespace OrvTest

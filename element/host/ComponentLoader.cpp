#include "ComponentLoader.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <algorithm>
#include <vector>

#include "ComponentRegistry.h"
#include "ElementError.h"
#include "LogService.h"

namespace OrvElement
{

namespace
{

// Opening a FIFO, dlopen would wait for a writer. A name that it would search for, or not find, is left to it.
void requireNoWaiting(const std::string& libraryPath)
{
    struct stat status;
    if (libraryPath.find('/') != std::string::npos && stat(libraryPath.c_str(), &status) == 0 &&
        !S_ISREG(status.st_mode))
    {
        throw ElementError("cannot load component: " + libraryPath + ": not a regular file");
    }
}

}  // namespace

ComponentLoader::ComponentLoader(ComponentRegistry& registry) : _registry(registry) {}

ComponentLoader::~ComponentLoader()
{
    unload();
}

void ComponentLoader::load(const std::string& libraryPath, const std::string& configPath)
{
    if (_library != nullptr)
    {
        throw ElementError("component " + _libraryPath + " is loaded already");
    }
    requireNoWaiting(libraryPath);
    // RTLD_NOW: a library with unresolved symbols fails here and not in the middle of a call. RTLD_LOCAL: two
    // components may define the same names.
    _library = dlopen(libraryPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (_library == nullptr)
    {
        throw ElementError("cannot load component: " + std::string(dlerror()));
    }
    _libraryPath = libraryPath;
    try
    {
        const auto init = reinterpret_cast<ZelLCMinitFunction>(resolve("zelLCMinit"));
        _terminate = reinterpret_cast<ZelLCMterminateFunction>(resolve("zelLCMterminate"));
        const std::vector<ZelMgmtSpiComponent*> before = _registry.components();
        const ZelReturnT code = init(&ComponentRegistry::accessor(), configPath.c_str());
        if (code != OrvOk)
        {
            throw ElementError("component " + libraryPath + ": zelLCMinit with " + configPath + " failed with code " +
                               std::to_string(code));
        }
        _record = newRecord(before);
    }
    catch (...)
    {
        // A component may be registered although its zelLCMinit failed: zelLCMterminate is called in any case.
        unload();
        throw;
    }
}

void ComponentLoader::start()
{
    if (_record == nullptr || _started)
    {
        throw ElementError("there is no stopped component to start");
    }
    const std::vector<std::string> missing = _registry.missingDependencies(*_record);
    if (!missing.empty())
    {
        std::string list;
        for (const std::string& identity : missing)
        {
            list += (list.empty() ? "" : ", ") + identity;
        }
        throw ElementError("component " + std::string(_record->componentName) +
                           " needs what nobody offers (component/interface/version): " + list);
    }
    const ZelReturnT code = _record->start(ZelStateChangeActivate);
    if (code != OrvOk)
    {
        throw ElementError("component " + std::string(_record->componentName) + ": start failed with code " +
                           std::to_string(code));
    }
    _started = true;
}

void ComponentLoader::stop() noexcept
{
    if (!_started)
    {
        return;
    }
    _started = false;
    const ZelReturnT code = _record->stop(ZelStateChangeDeactivate);
    if (code != OrvOk)
    {
        LogService::write(
            3, "component " + std::string(_record->componentName) + ": stop failed with code " + std::to_string(code));
    }
}

void ComponentLoader::unload() noexcept
{
    if (_library == nullptr)
    {
        return;
    }
    stop();
    if (_terminate != nullptr)
    {
        const ZelReturnT code = _terminate();
        if (code != OrvOk)
        {
            LogService::write(
                3, "component " + _libraryPath + ": zelLCMterminate failed with code " + std::to_string(code));
        }
    }
    _record = nullptr;
    _terminate = nullptr;
    if (dlclose(_library) != 0)
    {
        LogService::write(3, "component " + _libraryPath + ": cannot unload: " + std::string(dlerror()));
    }
    _library = nullptr;
}

void* ComponentLoader::resolve(const char* symbol) const
{
    void* address = dlsym(_library, symbol);
    if (address == nullptr)
    {
        throw ElementError("component " + _libraryPath + " does not export " + symbol);
    }
    return address;
}

ZelMgmtSpiComponent* ComponentLoader::newRecord(const std::vector<ZelMgmtSpiComponent*>& before) const
{
    std::vector<ZelMgmtSpiComponent*> added = _registry.components();
    added.erase(std::remove_if(added.begin(), added.end(),
                               [&before](const ZelMgmtSpiComponent* component)
                               { return std::find(before.begin(), before.end(), component) != before.end(); }),
                added.end());
    if (added.size() != 1)
    {
        throw ElementError("component " + _libraryPath + " has registered " + std::to_string(added.size()) +
                           " components instead of one");
    }
    return added.front();
}

}  // namespace OrvElement

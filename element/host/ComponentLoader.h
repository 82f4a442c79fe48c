#pragma once

#include <string>
#include <vector>

#include "ZelMgmtSpi.h"

namespace OrvElement
{

class ComponentRegistry;

// One component through its whole life: its library is loaded, the component initialised, started, stopped and
// unloaded. This is the part that a host of its own copies.
//
// The order is fixed: orvCommonInit (by the caller), load, start, stop, unload, orvCommonTerminate (by the caller).
// Each step undoes what it began when it fails, and the destructor does whatever is left to do.
// Threads:   one, the life cycle thread of the element; a component's life cycle functions are not safe against one
//            another.
// Ownership: the registry is the caller's and must outlive this object. The library stays loaded from load to unload;
//            nothing that comes from it (tables, records, callbacks on their way) may be used afterwards.
// Failure:   ElementError with one line that names the library and the step.
class ComponentLoader
{
public:
    explicit ComponentLoader(ComponentRegistry& registry);
    ~ComponentLoader();

    // Loads the library and calls its zelLCMinit, which registers the component. configPath: the component's
    // configuration file.
    void load(const std::string& libraryPath, const std::string& configPath);

    // Checks the component's declared dependencies and calls its start.
    void start();

    // Calls the component's stop. Blocks as long as the component needs. A failure is logged, and the component counts
    // as stopped. Nothing if it is not started.
    void stop() noexcept;

    // Calls zelLCMterminate and unloads the library; stops first. Nothing if nothing is loaded.
    void unload() noexcept;

    ComponentLoader(const ComponentLoader&) = delete;
    ComponentLoader& operator=(const ComponentLoader&) = delete;

private:
    void* resolve(const char* symbol) const;
    ZelMgmtSpiComponent* newRecord(const std::vector<ZelMgmtSpiComponent*>& before) const;

    ComponentRegistry& _registry;
    std::string _libraryPath;
    void* _library = nullptr;
    ZelLCMterminateFunction _terminate = nullptr;  // set while zelLCMinit has been called
    ZelMgmtSpiComponent* _record = nullptr;        // the component's
    bool _started = false;
};

}  // namespace OrvElement

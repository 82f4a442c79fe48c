#pragma once

#include <atomic>

#include "Log.h"
#include "OrvOamSpiEventRouter_1.h"
#include "OrvOamSpiModelRepository_2.h"
#include "ZelMgmtSpi.h"

namespace Orv
{

// The facade through which common code finds the framework's interfaces, each cached after its first lookup.
// orvCommonInit gives it its lookup function, orvCommonTerminate takes it away.
// Threads:   any; two threads that look the same interface up at once store the same pointer.
// Ownership: the interfaces are the framework's.
class Portal
{
public:
    static Portal* instance();

    // The identity under which the facade itself is offered; a component that uses it names it as a dependency.
    static ZelMgmtSpiInterface_1 COMP_ID;

    // Null, after the warning "Interface %s not found", if the framework does not have it.
    OrvOamSpiEventRouter_1* getEventRouter();
    OrvOamSpiModelRepository_2* getModelRepository();

    // The lookup behind the getters, for interfaces of which the caller keeps the cache.
    template <typename Table>
    Table* lookup(const ZelMgmtSpiInterface_1& id, std::atomic<Table*>& cache)
    {
        Table* cached = cache.load(std::memory_order_acquire);
        if (cached != nullptr && _valid.load(std::memory_order_acquire))
        {
            return cached;
        }
        const GetInterface getInterface = _getInterface.load(std::memory_order_acquire);
        if (getInterface != nullptr)
        {
            void* found = nullptr;
            if (getInterface(id, &found) == OrvOk)
            {
                cache.store(static_cast<Table*>(found), std::memory_order_release);
                return static_cast<Table*>(found);
            }
            cache.store(nullptr, std::memory_order_release);
        }
        ORV_LOG(Trace::Common, 4, "Interface %s not found", id.interfaceName);
        return nullptr;
    }

    // For orvCommonInit and orvCommonTerminate. A null function clears the validity flag; either way the caches of
    // the getters are emptied.
    typedef ZelReturnT (*GetInterface)(ZelMgmtSpiInterface_1, void**);
    void setGetInterface(GetInterface getInterface);

    Portal(const Portal&) = delete;
    Portal& operator=(const Portal&) = delete;

private:
    Portal() = default;
    ~Portal() = default;

    std::atomic<GetInterface> _getInterface{nullptr};
    std::atomic<bool> _valid{false};
    std::atomic<OrvOamSpiEventRouter_1*> _eventRouter{nullptr};
    std::atomic<OrvOamSpiModelRepository_2*> _modelRepository{nullptr};
};

}  // namespace Orv

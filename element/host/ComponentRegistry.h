#pragma once

#include <Poco/Mutex.h>

#include <string>
#include <vector>

#include "ThreadSafety.h"
#include "ZelMgmtSpi.h"

namespace OrvElement
{

// The element's interfaces and components: what stands behind the portals of the versions "1" and "3".
//
// An interface is found by its three strings together; a null component name or version equals a null one only. The
// portals' functions carry no context, so one registry at a time is the process's current one: from its construction to
// its end. The portal tables are static; without a registry they answer OrvFailure.
// Threads:   any; _mutex guards the lists and is never held across a call into a component.
// Ownership: tables, heads and component records stay their providers' and must live until they are withdrawn or
//            unregistered, or to the end of the registry.
// Failure:   a second registry is an ElementError. The portals answer with codes: OrvBadArgument for null pointers and
//            incomplete records, OrvNotFound for what is not there, OrvFailure for a name that is taken.
class ComponentRegistry
{
public:
    ComponentRegistry();
    ~ComponentRegistry();

    // What a component's zelLCMinit and orvCommonInit are given. Static.
    static ZelMgmtSpiInterfacePortalAccessor& accessor();

    // Offers an interface of the element's own. The first form takes a table by its head. Throws ElementError if the
    // identity is taken.
    void offer(ZelMgmtSpiInterface_1& head);
    void offer(const ZelMgmtSpiInterface_1& identity, void* table);

    ZelReturnT getInterface(const ZelMgmtSpiInterface_1& identity, void** result) const;
    ZelReturnT registerComponent(ZelMgmtSpiComponent* component);
    ZelReturnT unregisterComponent(ZelMgmtSpiComponent* component);

    // The registered components in the order of their registration.
    std::vector<ZelMgmtSpiComponent*> components() const;

    // The declared dependencies of the component that nobody offers, as texts "component/interface/version" in their
    // declared order, with "-" for a null.
    std::vector<std::string> missingDependencies(const ZelMgmtSpiComponent& component) const;

    ComponentRegistry(const ComponentRegistry&) = delete;
    ComponentRegistry& operator=(const ComponentRegistry&) = delete;

private:
    struct Offer
    {
        const ZelMgmtSpiInterface_1* identity;
        void* table;
        const ZelMgmtSpiComponent* provider;  // null for the element itself
    };

    const Offer* find(const ZelMgmtSpiInterface_1& identity) const ORV_REQUIRES(_mutex);
    bool providesTakenInterface(const ZelMgmtSpiComponent& component) const ORV_REQUIRES(_mutex);

    mutable Poco::FastMutex _mutex;
    std::vector<Offer> _offers ORV_GUARDED_BY(_mutex);
    std::vector<ZelMgmtSpiComponent*> _components ORV_GUARDED_BY(_mutex);
};

}  // namespace OrvElement

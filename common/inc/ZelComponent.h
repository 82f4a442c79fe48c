#pragma once

#include <cstring>
#include <vector>

#include "Portal.h"
#include "ZelMgmtSpi.h"

namespace Orv
{

// Base of a component that a framework loads: its one object, its tables for the portal, its registration.
// T is the derived class and has the members initialize, start, stop and terminate.
// Threads:   the framework calls load, start, stop and unload one at a time; only the construction of the object is
//            guarded against a race.
// Ownership: the object is a static of the library; what it offers and requires is borrowed by address.
template <typename T>
class ZelComponent
{
public:
    static T& instance()
    {
        static T theComponent;
        return theComponent;
    }

    // Registers the component at the accessor's portal and initialises it. The component stays registered when
    // initialize fails. OrvFailure without a portal of version "3"; otherwise the result of the step that failed.
    ZelReturnT load(ZelMgmtSpiInterfacePortalAccessor* portalAccessor, const char* configPath)
    {
        accessor = portalAccessor;
        portal3 = static_cast<ZelMgmtSpiInterfacePortal_3*>(accessor->getPortal("3"));
        portal1 = static_cast<OrvMgmtSpiInterfacePortal_1*>(accessor->getPortal("1"));
        if (portal3 == nullptr)
        {
            return OrvFailure;
        }
        _component.interfaceArray = nullTerminated(_offered, _offeredArray);
        _component.dependencyArray = nullTerminated(_required, _requiredArray);
        _component.extraInterfaceArray = nullTerminated(_extra, _extraArray);
        const ZelReturnT result = portal3->registerComponent(&_component);
        if (result != OrvOk)
        {
            return result;
        }
        return static_cast<T*>(this)->initialize(configPath);
    }

    // Takes the registration back, if there is a portal. Stops nothing.
    ZelReturnT unload()
    {
        static_cast<T*>(this)->terminate();
        if (portal3 == nullptr)
        {
            return OrvOk;
        }
        const ZelReturnT result = portal3->unregisterComponent(&_component);
        portal3 = nullptr;
        return result;
    }

    ZelComponent(const ZelComponent&) = delete;
    ZelComponent& operator=(const ZelComponent&) = delete;

protected:
    explicit ZelComponent(const char* componentName)
        : accessor(nullptr), portal3(nullptr), portal1(nullptr), _component()
    {
        _component.componentName = componentName;
        _component.interfaceName = "ZelMgmtSpiComponent";
        _component.interfaceVersion = "2";
        _component.start = &ZelComponent::startEntry;
        _component.stop = &ZelComponent::stopEntry;
        if (std::strcmp(componentName, Portal::COMP_ID.componentName) != 0)
        {
            require(Portal::COMP_ID);
        }
    }
    ~ZelComponent() = default;

    void offer(ZelMgmtSpiInterface_1& interface) { _offered.push_back(&interface); }
    void require(ZelMgmtSpiInterface_1& interface) { _required.push_back(&interface); }

    ZelMgmtSpiInterfacePortalAccessor* accessor;
    ZelMgmtSpiInterfacePortal_3* portal3;  // null until load and again after unload
    OrvMgmtSpiInterfacePortal_1* portal1;

private:
    typedef std::vector<ZelMgmtSpiInterface_1*> InterfaceList;

    static ZelReturnT startEntry(ZelStateChangeReason reason) { return instance().start(reason); }
    static ZelReturnT stopEntry(ZelStateChangeReason reason) { return instance().stop(reason); }

    static ZelMgmtSpiInterface_1** nullTerminated(const InterfaceList& list, InterfaceList& array)
    {
        array = list;
        array.push_back(nullptr);
        return array.data();
    }

    ZelMgmtSpiComponent _component;
    // Each list is followed by the null-terminated copy that the record points into.
    InterfaceList _offered;
    InterfaceList _offeredArray;
    InterfaceList _required;
    InterfaceList _requiredArray;
    InterfaceList _extra;
    InterfaceList _extraArray;
};

}  // namespace Orv

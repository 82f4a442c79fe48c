// How a component and the framework find each other: the portal accessor, the portals and the component record.
#pragma once

#include <cstddef>

#include "ZelTypes.h"

struct ZelMgmtSpiComponent;

// Handed to a component when it is loaded. It has no identity head.
struct ZelMgmtSpiInterfacePortalAccessor
{
    // The portal table of the version ("1" or "3"), or null. The framework owns it; it lives as long as the process.
    void* (*getPortal)(const char* version);
};

// The portal of version "1".
struct OrvMgmtSpiInterfacePortal_1
{
    ZelMgmtSpiInterface_1 id;
    // 0: *result is the interface's table, owned by its provider. Any other value: *result is not to be used.
    ZelReturnT (*getInterface)(ZelMgmtSpiInterface_1 id, void** result);
};

// The portal of version "3": lookup, and the registration of components.
struct ZelMgmtSpiInterfacePortal_3
{
    ZelMgmtSpiInterface_1 id;
    ZelReturnT (*getInterface)(ZelMgmtSpiInterface_1 id, void** result);
    void (*reserved1)(void);
    // The record stays the component's and must live until unregisterComponent has returned.
    ZelReturnT (*registerComponent)(ZelMgmtSpiComponent* component);
    ZelReturnT (*unregisterComponent)(ZelMgmtSpiComponent* component);
};

// What a component tells of itself. The three arrays end with a null pointer.
// The framework calls start and stop one at a time, from its life cycle thread.
struct ZelMgmtSpiComponent
{
    const char* componentName;
    const char* interfaceName;
    const char* interfaceVersion;
    ZelMgmtSpiInterface_1** interfaceArray;   // offered: each entry is the head of an interface table
    ZelMgmtSpiInterface_1** dependencyArray;  // required, to be there before start
    ZelReturnT (*start)(ZelStateChangeReason reason);
    ZelReturnT (*stop)(ZelStateChangeReason reason);
    ZelMgmtSpiInterface_1** extraInterfaceArray;
    unsigned char flag;
};

static_assert(offsetof(OrvMgmtSpiInterfacePortal_1, getInterface) == 24, "portal 1: the lookup follows the head");
static_assert(offsetof(ZelMgmtSpiInterfacePortal_3, getInterface) == 24, "portal 3: the lookup follows the head");
static_assert(offsetof(ZelMgmtSpiInterfacePortal_3, registerComponent) == 40, "portal 3: one entry is reserved");
static_assert(offsetof(ZelMgmtSpiInterfacePortal_3, unregisterComponent) == 48, "portal 3: the last entry");
static_assert(sizeof(ZelMgmtSpiComponent) == 72, "the component record is fixed");
static_assert(offsetof(ZelMgmtSpiComponent, start) == 40, "the component record is fixed");
static_assert(offsetof(ZelMgmtSpiComponent, flag) == 64, "the component record is fixed");

// What the framework resolves by name in a component's library.
typedef ZelReturnT (*ZelLCMinitFunction)(ZelMgmtSpiInterfacePortalAccessor* accessor, const char* configPath);
typedef ZelReturnT (*ZelLCMterminateFunction)(void);

// Results, state change reasons and interface identities: what every interface of the framework is built from.
#pragma once

// A result is a plain int, not an enumeration: a framework may return numbers that are not listed here.
typedef int ZelReturnT;
typedef ZelReturnT OrvReturnT;

enum
{
    OrvOk = 0,
    OrvRetry = 1,       // a subscriber's answer: offer the same notification again
    OrvNotRunning = 2,  // the service thread does not run
    OrvFailure = -1,    // general failure
    OrvNotFound = -2,   // no such object; from a subscriber: it is deregistering
    OrvBadArgument = -8,
    OrvNoThread = -10
};

// Why a component is started or stopped. The underlying type is fixed: any number may be passed.
enum ZelStateChangeReason : int
{
    ZelStateChangeActivate = 1,
    ZelStateChangeDeactivate = 2,
    ZelStateChangeFailover = 3,
    ZelStateChangeSwitchover = 4
};
typedef ZelStateChangeReason OrvStateChangeReason;

// The identity of an interface and the head of every interface table, where it is the member `id`.
// componentName and interfaceVersion may be null. The strings live as long as the table does.
struct ZelMgmtSpiInterface_1
{
    const char* componentName;
    const char* interfaceName;
    const char* interfaceVersion;
};

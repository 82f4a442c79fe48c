// A component that does nothing, and does one thing wrong if it is compiled with one of the FAULTY_ definitions. It
// tells what is called through the dependency that it finds under the name "CallLog", if there is one.
#include "ZelMgmtSpi.h"

#ifndef FAULTY_INIT_CODE
#define FAULTY_INIT_CODE 0
#endif
#ifndef FAULTY_START_CODE
#define FAULTY_START_CODE 0
#endif
#ifndef FAULTY_STOP_CODE
#define FAULTY_STOP_CODE 0
#endif

namespace
{

struct CallLog
{
    ZelMgmtSpiInterface_1 id;
    void (*called)(const char* what, int argument);
};

ZelMgmtSpiInterfacePortal_3* thePortal = nullptr;

void tell(const char* what, int argument)
{
    const ZelMgmtSpiInterface_1 id = {"Test", "CallLog", "1"};
    void* found = nullptr;
    if (thePortal != nullptr && thePortal->getInterface(id, &found) == OrvOk)
    {
        static_cast<CallLog*>(found)->called(what, argument);
    }
}

ZelReturnT start(ZelStateChangeReason reason)
{
    tell("start", reason);
    return FAULTY_START_CODE;
}

ZelReturnT stop(ZelStateChangeReason reason)
{
    tell("stop", reason);
    return FAULTY_STOP_CODE;
}

ZelMgmtSpiInterface_1 theOffer = {"FaultyComponent", "Nothing", "1"};
ZelMgmtSpiInterface_1* theOffers[] = {&theOffer, nullptr};
#ifdef FAULTY_DEPENDENCY
ZelMgmtSpiInterface_1 theLog = {nullptr, "OrvMwSpiLog", "1"};
ZelMgmtSpiInterface_1 theFirstMissing = {"Nobody", "NobodysInterface", "4"};
ZelMgmtSpiInterface_1 theSecondMissing = {nullptr, "AnotherInterface", nullptr};
ZelMgmtSpiInterface_1* theDependencies[] = {&theFirstMissing, &theLog, &theSecondMissing, nullptr};
#else
ZelMgmtSpiInterface_1* theDependencies[] = {nullptr};
#endif

ZelMgmtSpiComponent theComponent = {"FaultyComponent", "Faulty", "1", theOffers, theDependencies, start, stop,
                                    nullptr,           0};

}  // namespace

extern "C" ZelReturnT zelLCMinit(ZelMgmtSpiInterfacePortalAccessor* accessor, const char*)
{
    thePortal = static_cast<ZelMgmtSpiInterfacePortal_3*>(accessor->getPortal("3"));
    tell("init", 0);
#ifndef FAULTY_UNREGISTERED
    thePortal->registerComponent(&theComponent);
#endif
    return FAULTY_INIT_CODE;
}

#ifndef FAULTY_NO_TERMINATE
extern "C" ZelReturnT zelLCMterminate(void)
{
    tell("terminate", 0);
    const ZelReturnT code = thePortal->unregisterComponent(&theComponent);
    return code == OrvNotFound ? OrvOk : code;
}
#endif

#include "OrvCommon.h"

#include "LoggingWrapper.h"
#include "Portal.h"

void orvCommonInit(ZelMgmtSpiInterfacePortalAccessor* accessor)
{
    if (accessor == nullptr || accessor->getPortal == nullptr)
    {
        return;
    }
    const auto* portal = static_cast<const OrvMgmtSpiInterfacePortal_1*>(accessor->getPortal("1"));
    if (portal == nullptr || portal->getInterface == nullptr)
    {
        return;
    }
    // Logging first: a lookup that fails from here on is to be seen in the framework's log.
    Orv::LoggingWrapper::instance().refresh(portal->getInterface);
    Orv::Portal::instance()->setGetInterface(portal->getInterface);
}

void orvCommonTerminate(void)
{
    Orv::Portal::instance()->setGetInterface(nullptr);
    Orv::LoggingWrapper::instance().refresh(nullptr);
}

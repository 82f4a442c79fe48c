// The two functions that the framework resolves by name.
#include "NbiNotificationServiceCM.h"

using OrvNbiNotificationService::NbiNotificationServiceCM;

extern "C"
{
    __attribute__((visibility("default"))) ZelReturnT zelLCMinit(ZelMgmtSpiInterfacePortalAccessor* accessor,
                                                                 const char* configPath);
    __attribute__((visibility("default"))) ZelReturnT zelLCMterminate(void);
}

ZelReturnT zelLCMinit(ZelMgmtSpiInterfacePortalAccessor* accessor, const char* configPath)
{
    return Orv::ZelComponent<NbiNotificationServiceCM>::instance().load(accessor, configPath);
}

ZelReturnT zelLCMterminate(void)
{
    return Orv::ZelComponent<NbiNotificationServiceCM>::instance().unload();
}

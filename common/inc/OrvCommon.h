// Entry points of liborv_common for the host.
#pragma once

#include "ZelMgmtSpi.h"

extern "C"
{
    // Called by the host before the first zelLCMinit: gives the facade Orv::Portal the lookup of the accessor's portal
    // of version "1" and finds the log and trace interfaces. A null accessor, or one without that portal, leaves the
    // library as it was. Life cycle thread only.
    void orvCommonInit(ZelMgmtSpiInterfacePortalAccessor* accessor);

    // Called by the host after the last zelLCMterminate: once it has returned, nothing of the framework is called any
    // more, and messages go to standard error. Threads that look up or log must have ended before, since a call into
    // the framework that is under way is not waited for. May be called twice. Life cycle thread only.
    void orvCommonTerminate(void);
}

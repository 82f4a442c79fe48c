#pragma once

#include <Poco/ActiveRunnable.h>
#include <Poco/AutoPtr.h>
#include <Poco/Exception.h>

#include "NotificationThreadPoolManager.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

// Starts active methods on the notification pool instead of POCO's default one.
template <typename OwnerType>
class NotificationThreadStarter
{
public:
    // The caller keeps a reference of its own until start has returned, as an active method does: the run may end, and
    // give its reference back, before it has been made here.
    // Throws Poco::NoThreadAvailableException, after logging it, when the pool is exhausted.
    static void start(OwnerType*, Poco::AutoPtr<Poco::ActiveRunnableBase> pRunnable)
    {
        NOTIF_TRACE(" >> ");
        try
        {
            Poco::ThreadPool& pool = NotificationThreadPoolManager::instance().getThreadPool();
            NOTIF_TRACE("Assigning a thread to active method. Available before assignment: %d", pool.available());
            pool.start(*pRunnable);
            // The thread's own reference, which it gives back when the method has ended.
            pRunnable->duplicate();
        }
        catch (const Poco::NoThreadAvailableException& e)
        {
            NOTIF_ERROR("Rethrow NoThreadAvailableException: %s", e.what());
            throw;
        }
        NOTIF_TRACE(" << ");
    }
};

}  // namespace OrvNbiNotificationService

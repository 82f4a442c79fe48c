#include "NotificationThreadPoolManager.h"

#include <Poco/Exception.h>

#include <exception>

#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

namespace
{
const int MINIMUM_THREADS = 2;
const int MAXIMUM_THREADS = 510;
const int IDLE_SECONDS = 60;
const int SYSTEM_STACK_SIZE = 0;
}  // namespace

// The name's spelling is known to those who read thread lists.
NotificationThreadPoolManager::NotificationThreadPoolManager()
    : _threadPool("NotificationSeriveThreadPool", MINIMUM_THREADS, MAXIMUM_THREADS, IDLE_SECONDS, SYSTEM_STACK_SIZE)
{
}

NotificationThreadPoolManager::~NotificationThreadPoolManager() = default;

Poco::ThreadPool& NotificationThreadPoolManager::getThreadPool()
{
    return _threadPool;
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wcatch-value"
#endif
void NotificationThreadPoolManager::stopAll()
{
    NOTIF_TRACE(" >> ");
    NOTIF_TRACE("Waiting for all threads to finish");
    try
    {
        _threadPool.joinAll();
        _threadPool.stopAll();
    }
    // By value: the text that is logged is the base class's name, whatever was thrown.
    catch (Poco::Exception e)  // NOLINT(misc-throw-by-value-catch-by-reference)
    {
        NOTIF_ERROR("Poco Exception: %s", e.what());
    }
    catch (const std::exception& e)
    {
        NOTIF_ERROR("Std Exception: %s", e.what());
    }
    catch (...)
    {
        NOTIF_ERROR("Unknown Exception");
    }
    NOTIF_TRACE("All threads in the pool have finished executing, or,        \t\ttimed out (10 sec).");
    NOTIF_TRACE(" << ");
}
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

}  // namespace OrvNbiNotificationService

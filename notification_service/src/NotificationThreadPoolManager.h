#pragma once

#include <Poco/ThreadPool.h>

#include "Singleton.h"

namespace OrvNbiNotificationService
{

// Owner of the pool on which deliveries and timers run: 2 to 510 threads, those above the minimum gone after 60 idle
// seconds. Made at its first use, and usable again after stopAll.
// Threads: any.
class NotificationThreadPoolManager : public Orv::Singleton<NotificationThreadPoolManager>
{
public:
    ~NotificationThreadPoolManager() override;

    Poco::ThreadPool& getThreadPool();

    // Waits, without limit, until the pool's threads have finished what they run, and stops them. Never throws.
    void stopAll();

private:
    friend class Orv::Singleton<NotificationThreadPoolManager>;
    NotificationThreadPoolManager();

    Poco::ThreadPool _threadPool;
};

}  // namespace OrvNbiNotificationService

#pragma once

#include <Poco/Mutex.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <vector>

#include "NotificationUtils.h"
#include "OrvOamSpiNbiNotificationService_1.h"
#include "ThreadSafety.h"

namespace OrvNbiNotificationService
{

// The way back of delivered records to the service thread, which has made nearly all of them: memory that is freed by
// another thread than the one that keeps allocating it costs the C library several times as much. The way is open only
// while the service thread handles a batch. What finds it closed, full or busy is freed on the spot.
// Threads:   a Bundle is one delivery run's. All else is called under the registry lock; _mutex is a leaf lock, see
//            docs/threads-and-locks.md.
// Ownership: what is on its way is this object's, or the bundle's.
// Failure:   to those who give back, none. To the others a failing mutex is a Poco::SystemException.
class NotificationReturns
{
public:
    static constexpr size_t MAX_RECORDS = 4096;  // given back and not yet collected; as many may be collected

    // What a delivery run is done with.
    class Bundle
    {
    public:
        // returns: null if there is no way back. Borrowed.
        explicit Bundle(NotificationReturns* returns) : _returns(returns), _size(0) {}
        ~Bundle() { send(); }

        // The record is sent later, with others.
        void add(OwnedNotification notification) noexcept;
        // False if there was nothing to send.
        bool send() noexcept;

        Bundle(const Bundle&) = delete;
        Bundle& operator=(const Bundle&) = delete;

    private:
        NotificationReturns* const _returns;
        size_t _size;
        std::array<OrvOamSpiNbiNotificationValue_1*, 16> _records;
    };

    NotificationReturns();
    ~NotificationReturns();

    void open();
    // Frees what is on its way.
    void close();
    // Takes over what has been given back. freeOne frees one record of it, best right before another is allocated;
    // freeAll frees what is left, and what has been given back since.
    void collect();
    void freeOne() noexcept
    {
        if (!_collected.empty())
        {
            NotificationUtils::deleteNotification(_collected.back());
            _collected.pop_back();
        }
    }
    void freeAll();

    NotificationReturns(const NotificationReturns&) = delete;
    NotificationReturns& operator=(const NotificationReturns&) = delete;

private:
    typedef std::vector<OrvOamSpiNbiNotificationValue_1*> Records;

    bool take(OrvOamSpiNbiNotificationValue_1** records, size_t count) noexcept;

    Poco::FastMutex _mutex;
    std::atomic<bool> _open;  // written under _mutex
    Records _returned ORV_GUARDED_BY(_mutex);
    Records _collected;
};

}  // namespace OrvNbiNotificationService

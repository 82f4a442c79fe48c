#pragma once

#include <exception>

#include "ThreadSafety.h"

namespace Orv
{

// The scoped lock of this code base. POCO's own swallows a failing unlock; a mutex that cannot be unlocked must not go
// unnoticed, so this destructor throws, unless the stack is unwinding already.
// Mutex: a POCO mutex. Its failures are Poco::SystemException.
template <typename Mutex>
class ORV_SCOPED_CAPABILITY OrvThreadLock
{
public:
    explicit OrvThreadLock(Mutex& mutex) ORV_ACQUIRE(mutex) : _mutex(mutex), _exceptions(std::uncaught_exceptions())
    {
        _mutex.lock();
    }

    ~OrvThreadLock() noexcept(false) ORV_RELEASE()
    {
        try
        {
            _mutex.unlock();
        }
        catch (...)
        {
            if (std::uncaught_exceptions() == _exceptions)
            {
                throw;
            }
        }
    }

    OrvThreadLock(const OrvThreadLock&) = delete;
    OrvThreadLock& operator=(const OrvThreadLock&) = delete;

private:
    Mutex& _mutex;
    const int _exceptions;
};

}  // namespace Orv

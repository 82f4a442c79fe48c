#include "OrvThreadLock.h"

#include <Poco/Exception.h>
#include <Poco/Mutex.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

namespace
{

// Fails as a POCO mutex does.
class ORV_CAPABILITY("mutex") BrokenMutex
{
public:
    void lock() ORV_ACQUIRE()
    {
        if (lockFails)
        {
            throw Poco::SystemException("cannot lock mutex");
        }
        ++locks;
    }
    void unlock() ORV_RELEASE()
    {
        ++unlocks;
        if (unlockFails)
        {
            throw Poco::SystemException("cannot unlock mutex");
        }
    }

    bool lockFails = false;
    bool unlockFails = false;
    int locks = 0;
    int unlocks = 0;
};

TEST(OrvThreadLock, HoldsTheMutexForItsLifetime)
{
    Poco::FastMutex mutex;
    bool freeWhileHeld = true;
    {
        const Orv::OrvThreadLock<Poco::FastMutex> lock(mutex);
        std::thread other([&]() ORV_NO_THREAD_SAFETY_ANALYSIS { freeWhileHeld = mutex.tryLock(); });
        other.join();
    }
    EXPECT_FALSE(freeWhileHeld);
    const bool freeAfterwards = mutex.tryLock();
    EXPECT_TRUE(freeAfterwards);
    if (freeAfterwards)
    {
        mutex.unlock();
    }
}

TEST(OrvThreadLock, ThrowsWhenTheMutexCannotBeUnlocked)
{
    BrokenMutex mutex;
    mutex.unlockFails = true;
    std::string message;
    try
    {
        const Orv::OrvThreadLock<BrokenMutex> lock(mutex);
    }
    catch (const Poco::SystemException& exception)
    {
        message = exception.message();
    }
    EXPECT_EQ(message, "cannot unlock mutex");
    EXPECT_EQ(mutex.unlocks, 1);
}

TEST(OrvThreadLock, SwallowsAFailingUnlockWhileTheStackUnwinds)
{
    BrokenMutex mutex;
    mutex.unlockFails = true;
    std::string caught;
    try
    {
        const Orv::OrvThreadLock<BrokenMutex> lock(mutex);
        throw std::runtime_error("the first one");
    }
    catch (const std::exception& exception)
    {
        caught = exception.what();
    }
    EXPECT_EQ(caught, "the first one");
    EXPECT_EQ(mutex.unlocks, 1);
}

// Takes a lock in its destructor, which runs while another exception unwinds the stack.
struct LocksWhenItDies
{
    ~LocksWhenItDies()
    {
        try
        {
            const Orv::OrvThreadLock<BrokenMutex> lock(mutex);
        }
        catch (const Poco::SystemException&)
        {
            thrown = true;
        }
    }
    BrokenMutex& mutex;
    bool& thrown;
};

TEST(OrvThreadLock, ThrowsInAScopeOfItsOwnAlsoDuringAnotherUnwinding)
{
    BrokenMutex mutex;
    mutex.unlockFails = true;
    bool thrown = false;
    try
    {
        const LocksWhenItDies guard{mutex, thrown};
        throw std::runtime_error("the outer one");
    }
    catch (const std::runtime_error&)
    {
    }
    EXPECT_TRUE(thrown);
}

TEST(OrvThreadLock, LetsAFailingLockPassAndDoesNotUnlock)
{
    BrokenMutex mutex;
    mutex.lockFails = true;
    EXPECT_THROW(const Orv::OrvThreadLock<BrokenMutex> lock(mutex), Poco::SystemException);
    EXPECT_EQ(mutex.unlocks, 0);
}

}  // namespace

// The delivery token of a subscription is a mutex that one thread takes and another one gives back. The thread
// sanitizer's model of a mutex does not cover that, so the three operations tell it of the order they make.
#pragma once

#include <Poco/Mutex.h>

#include "ThreadSafety.h"

#if defined(__SANITIZE_THREAD__)
#define ORV_THREAD_SANITIZER
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORV_THREAD_SANITIZER
#endif
#endif

#if defined(ORV_THREAD_SANITIZER)
extern "C" void __tsan_acquire(void* address);
extern "C" void __tsan_release(void* address);
extern "C" void AnnotateIgnoreReadsBegin(const char* file, int line);
extern "C" void AnnotateIgnoreReadsEnd(const char* file, int line);
#define ORV_TOKEN_TAKEN(token) __tsan_acquire(&(token))
#define ORV_TOKEN_GIVEN(token) __tsan_release(&(token))
#define ORV_TOKEN_UNLOCK_SCOPE const TokenUnlockScope unlockScope
#else
#define ORV_TOKEN_TAKEN(token)
#define ORV_TOKEN_GIVEN(token)
#define ORV_TOKEN_UNLOCK_SCOPE
#endif

namespace OrvNbiNotificationService
{

#if defined(ORV_THREAD_SANITIZER)
// Whoever takes the token next may destroy it. The order of that after the unlock itself cannot be told, so the
// unlock's own look at the mutex is not counted. A failing unlock throws: hence the scope.
struct TokenUnlockScope
{
    TokenUnlockScope() { AnnotateIgnoreReadsBegin(__FILE__, __LINE__); }
    ~TokenUnlockScope() { AnnotateIgnoreReadsEnd(__FILE__, __LINE__); }
};
#endif

inline bool tryTakeToken(Poco::FastMutex& token) ORV_TRY_ACQUIRE(true, token) ORV_NO_THREAD_SAFETY_ANALYSIS
{
    if (!token.tryLock())
    {
        return false;
    }
    ORV_TOKEN_TAKEN(token);
    return true;
}

inline void waitForToken(Poco::FastMutex& token) ORV_ACQUIRE(token) ORV_NO_THREAD_SAFETY_ANALYSIS
{
    token.lock();
    ORV_TOKEN_TAKEN(token);
}

// The caller's last touch of whatever the token protects, and of the token.
inline void giveToken(Poco::FastMutex& token) ORV_RELEASE(token) ORV_NO_THREAD_SAFETY_ANALYSIS
{
    ORV_TOKEN_GIVEN(token);
    ORV_TOKEN_UNLOCK_SCOPE;
    token.unlock();
}

}  // namespace OrvNbiNotificationService

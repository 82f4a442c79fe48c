#pragma once

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORV_TEST_LEAKS_ARE_FOUND 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define ORV_TEST_LEAKS_ARE_FOUND 1
#endif

#if defined(ORV_TEST_LEAKS_ARE_FOUND)
#include <sanitizer/lsan_interface.h>
#endif

namespace OrvTest
{

// What the calling thread allocates during its lifetime is no leak for the leak check. For the one object that the
// service gives up on purpose: the message of a record that could not be copied. Keep its scope to that one call.
class ExpectedLeak
{
public:
#if defined(ORV_TEST_LEAKS_ARE_FOUND)
    ExpectedLeak()
    {
        __lsan_disable();
    }
    ~ExpectedLeak()
    {
        __lsan_enable();
    }
#else
    ExpectedLeak() {}
    ~ExpectedLeak() {}
#endif

    ExpectedLeak(const ExpectedLeak&) = delete;
    ExpectedLeak& operator=(const ExpectedLeak&) = delete;
};

}  // namespace OrvTest

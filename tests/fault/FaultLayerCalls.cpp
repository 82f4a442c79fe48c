// What else the service asks of the system: waiting, pausing, the time, compiling an expression, files.
#include <fcntl.h>
#include <regex.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <ctime>

#include "FaultCore.h"

using namespace OrvTest;
using namespace OrvTest::FaultCore;

namespace
{

ORV_REPLACES(select);
ORV_REPLACES(nanosleep);
ORV_REPLACES(clock_gettime);
ORV_REPLACES(regcomp);
ORV_REPLACES(open64);
ORV_REPLACES(read);
ORV_REPLACES(write);

std::atomic<long long> heldTime{0};  // microseconds since the Unix epoch; 0 while the clock runs

}  // namespace

void FaultLayer::holdClock(long long microseconds)
{
    heldTime.store(microseconds);
}

void FaultLayer::releaseClock()
{
    heldTime.store(0);
}

extern "C"
{
    int select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional, timeval* timeout)
    {
        if (fails(Operation::wait))
        {
            errno = error();
            return -1;
        }
        const bool waits = isServiceThread();
        if (waits)
        {
            serviceThreadWaits(true);
        }
        const int result = ORV_REAL(select)(count, readable, writable, exceptional, timeout);
        if (waits)
        {
            const int cause = errno;
            serviceThreadWaits(false);
            errno = cause;
        }
        return result;
    }

    int nanosleep(const timespec* request, timespec* remaining)
    {
        if (fails(Operation::pause))
        {
            errno = error();
            return -1;
        }
        return ORV_REAL(nanosleep)(request, remaining);
    }

    int clock_gettime(clockid_t clock, timespec* time) noexcept
    {
        const long long held = heldTime.load();
        if (held == 0 || clock != CLOCK_REALTIME || !isOnService())
        {
            return ORV_REAL(clock_gettime)(clock, time);
        }
        *time = {held / 1000000, held % 1000000 * 1000};
        return 0;
    }

    int regcomp(regex_t* compiled, const char* expression, int flags)
    {
        if (fails(Operation::compile))
        {
            return error();
        }
        const ForeignScope scope;
        return ORV_REAL(regcomp)(compiled, expression, flags);
    }

    int open64(const char* path, int flags, ...)
    {
        mode_t mode = 0;
        if ((flags & O_CREAT) != 0)
        {
            va_list arguments;
            va_start(arguments, flags);
            mode = va_arg(arguments, mode_t);
            va_end(arguments);
        }
        if (fails(Operation::open))
        {
            errno = error();
            return -1;
        }
        return ORV_REAL(open64)(path, flags, mode);
    }

    ssize_t read(int descriptor, void* buffer, size_t size)
    {
        if (fails(Operation::read))
        {
            errno = error();
            return -1;
        }
        return ORV_REAL(read)(descriptor, buffer, size);
    }

    ssize_t write(int descriptor, const void* buffer, size_t size)
    {
        if (fails(Operation::write))
        {
            errno = error();
            return -1;
        }
        return ORV_REAL(write)(descriptor, buffer, size);
    }
}

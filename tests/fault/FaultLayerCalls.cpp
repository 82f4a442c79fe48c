// What else the service asks of the system: waiting, pausing, compiling an expression, files.
#include <fcntl.h>
#include <regex.h>
#include <sys/select.h>
#include <unistd.h>

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
ORV_REPLACES(regcomp);
ORV_REPLACES(open64);
ORV_REPLACES(read);
ORV_REPLACES(write);

}  // namespace

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

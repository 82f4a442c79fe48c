#include "SystemCalls.h"

#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include "Peers.h"

namespace OrvBench
{

namespace
{

uint64_t idOfTheTracePoint()
{
    for (const char* folder : {"/sys/kernel/tracing", "/sys/kernel/debug/tracing"})
    {
        std::ifstream file(std::string(folder) + "/events/raw_syscalls/sys_enter/id");
        uint64_t id = 0;
        if (file >> id)
        {
            return id;
        }
    }
    throw UnavailableChannel("the kernel's trace points cannot be read: run as root, with tracefs mounted");
}

int openCounter()
{
    perf_event_attr attributes;
    memset(&attributes, 0, sizeof(attributes));
    attributes.size = sizeof(attributes);
    attributes.type = PERF_TYPE_TRACEPOINT;
    attributes.config = idOfTheTracePoint();
    attributes.inherit = 1;
    const pid_t thisThread = 0;
    const int anyCpu = -1;
    const int noGroup = -1;
    const long counter = syscall(SYS_perf_event_open, &attributes, thisThread, anyCpu, noGroup, PERF_FLAG_FD_CLOEXEC);
    if (counter < 0)
    {
        throw UnavailableChannel(std::string("system calls cannot be counted: ") + strerror(errno));
    }
    return static_cast<int>(counter);
}

}  // namespace

SystemCalls::SystemCalls() : _counter(openCounter()) {}

SystemCalls::~SystemCalls()
{
    close(_counter);
}

uint64_t SystemCalls::count() const
{
    uint64_t value = 0;
    if (read(_counter, &value, sizeof(value)) != static_cast<ssize_t>(sizeof(value)))
    {
        throw std::runtime_error("the counter of system calls cannot be read");
    }
    return value;
}

}  // namespace OrvBench

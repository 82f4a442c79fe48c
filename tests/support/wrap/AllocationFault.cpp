#include "AllocationFault.h"

#include <new>
#include <utility>

namespace OrvTest
{

namespace
{

thread_local AllocationFault* allocationFault = nullptr;
thread_local bool callocFails = false;
thread_local bool strdupFails = false;

}  // namespace

AllocationFault::AllocationFault(unsigned int nth) : _callsUntilFault(nth), _size(0), _met(false)
{
    allocationFault = this;
}

AllocationFault::AllocationFault(std::size_t size, std::function<void()> action)
    : _callsUntilFault(0), _size(size), _action(std::move(action)), _met(false)
{
    allocationFault = this;
}

AllocationFault::~AllocationFault()
{
    allocationFault = nullptr;
}

void AllocationFault::meetObject(std::size_t size)
{
    count();
    if (_action && size == _size && !_met)
    {
        _met = true;
        _action();
    }
}

void AllocationFault::meetArray()
{
    count();
}

void AllocationFault::count()
{
    if (_callsUntilFault != 0 && --_callsUntilFault == 0)
    {
        _met = true;
        throw std::bad_alloc();
    }
}

CallocFault::CallocFault()
{
    callocFails = true;
}

CallocFault::~CallocFault()
{
    callocFails = false;
}

StrdupFault::StrdupFault()
{
    strdupFails = true;
}

StrdupFault::~StrdupFault()
{
    strdupFails = false;
}

}  // namespace OrvTest

// The names are the linker's.
extern "C"
{
    void* __real__Znwm(std::size_t size);
    void* __real__Znam(std::size_t size);
    void* __real_calloc(std::size_t count, std::size_t size);
    char* __real_strdup(const char* text);

    void* __wrap__Znwm(std::size_t size)
    {
        if (OrvTest::allocationFault != nullptr)
        {
            OrvTest::allocationFault->meetObject(size);
        }
        return __real__Znwm(size);
    }

    void* __wrap__Znam(std::size_t size)
    {
        if (OrvTest::allocationFault != nullptr)
        {
            OrvTest::allocationFault->meetArray();
        }
        return __real__Znam(size);
    }

    void* __wrap_calloc(std::size_t count, std::size_t size)
    {
        return OrvTest::callocFails ? nullptr : __real_calloc(count, size);
    }

    char* __wrap_strdup(const char* text)
    {
        return OrvTest::strdupFails ? nullptr : __real_strdup(text);
    }
}

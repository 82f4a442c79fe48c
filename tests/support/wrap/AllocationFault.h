#pragma once

#include <cstddef>
#include <functional>

namespace OrvTest
{

// While it lives, one allocation of the constructing thread fails. One at a time per thread.
class AllocationFault
{
public:
    // The nth operator new or new[] (1 is the next) throws std::bad_alloc, once.
    explicit AllocationFault(unsigned int nth);
    // Runs the action in place of the first operator new of exactly this many bytes. If the action returns, the
    // allocation is made.
    AllocationFault(std::size_t size, std::function<void()> action);
    ~AllocationFault();

    // Whether the allocation has been asked for.
    bool met() const { return _met; }

    void meetObject(std::size_t size);
    void meetArray();

    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

private:
    void count();

    unsigned int _callsUntilFault;  // 0 for none
    const std::size_t _size;
    const std::function<void()> _action;  // null where calls are counted
    bool _met;
};

// While it lives, calloc gives null to the constructing thread.
class CallocFault
{
public:
    CallocFault();
    ~CallocFault();

    CallocFault(const CallocFault&) = delete;
    CallocFault& operator=(const CallocFault&) = delete;
};

// While it lives, strdup gives null to the constructing thread.
class StrdupFault
{
public:
    StrdupFault();
    ~StrdupFault();

    StrdupFault(const StrdupFault&) = delete;
    StrdupFault& operator=(const StrdupFault&) = delete;
};

}  // namespace OrvTest

#include "AllocationHook.h"

#include <cstdlib>
#include <new>

namespace
{

thread_local int allocationsOfThisThread = 0;
thread_local int releasesOfThisThread = 0;
thread_local bool refusing = false;

// Sanitizers end the process for sizes like these instead of returning null.
constexpr std::size_t MORE_THAN_ANY_MACHINE_HAS = std::size_t(1) << 40;

}  // namespace

void* operator new(std::size_t size)
{
    if (refusing || size >= MORE_THAN_ANY_MACHINE_HAS)
    {
        throw std::bad_alloc();
    }
    void* const block = std::malloc(size);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    ++allocationsOfThisThread;
    return block;
}

// A sanitizer that stays in charge of this one complains when the block is released below.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try
    {
        return operator new(size);
    }
    catch (const std::bad_alloc&)
    {
        return nullptr;
    }
}

void operator delete(void* block) noexcept
{
    if (block != nullptr)
    {
        ++releasesOfThisThread;
    }
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

AllocationCount::AllocationCount() : _allocationsBefore(allocationsOfThisThread), _releasesBefore(releasesOfThisThread)
{
}

int AllocationCount::allocations() const
{
    return allocationsOfThisThread - _allocationsBefore;
}

int AllocationCount::releases() const
{
    return releasesOfThisThread - _releasesBefore;
}

NoMemory::NoMemory()
{
    refusing = true;
}

NoMemory::~NoMemory()
{
    refusing = false;
}

// Counts and refuses the allocations of one thread. The test program's operator new is replaced, which holds for the
// libraries that it links, too.
#pragma once

// Counts from construction on. One at a time per thread.
class AllocationCount
{
public:
    AllocationCount();

    int allocations() const;
    int releases() const;

private:
    const int _allocationsBefore;
    const int _releasesBefore;
};

// While it lives, each operator new of this thread throws std::bad_alloc.
class NoMemory
{
public:
    NoMemory();
    ~NoMemory();

    NoMemory(const NoMemory&) = delete;
    NoMemory& operator=(const NoMemory&) = delete;
};

#include "Allocations.h"

#include <atomic>
#include <cstddef>

namespace
{

std::atomic<bool> counting{false};
std::atomic<uint64_t> allocations{0};

[[maybe_unused]] void count()
{
    if (counting.load(std::memory_order_relaxed))
    {
        allocations.fetch_add(1, std::memory_order_relaxed);
    }
}

}  // namespace

// Sanitizers have an allocator of their own; their builds measure nothing.
#if ORV_MEASURABLE
// The C library's own names for what is replaced here.
extern "C"
{
    void* __libc_malloc(size_t size);
    void* __libc_calloc(size_t count, size_t size);
    void* __libc_realloc(void* block, size_t size);

    void* malloc(size_t size) noexcept
    {
        count();
        return __libc_malloc(size);
    }

    void* calloc(size_t number, size_t size) noexcept
    {
        count();
        return __libc_calloc(number, size);
    }

    void* realloc(void* block, size_t size) noexcept
    {
        count();
        return __libc_realloc(block, size);
    }
}
#endif

namespace OrvBench
{

void Allocations::start()
{
    allocations.store(0, std::memory_order_relaxed);
    counting.store(true, std::memory_order_seq_cst);
}

uint64_t Allocations::stop()
{
    counting.store(false, std::memory_order_seq_cst);
    return allocations.load(std::memory_order_relaxed);
}

}  // namespace OrvBench

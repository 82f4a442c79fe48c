// Allocations: those on the service's side can fail, and each block is remembered until it is freed.
#include <execinfo.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "FaultCore.h"

extern "C" int __cxa_atexit(void (*function)(void*), void* argument, void* owner) noexcept;
extern "C" void __cxa_finalize(void* owner);

namespace OrvTest
{

using namespace FaultCore;

namespace
{

ORV_REPLACES(malloc);
ORV_REPLACES(free);
ORV_REPLACES(calloc);
ORV_REPLACES(realloc);

// What is allocated while dlsym looks for malloc. Never freed.
alignas(16) char earlyMemory[64 * 1024];
std::atomic<size_t> earlyUsed{0};
thread_local bool lookingUp = false;

bool isEarly(const void* block)
{
    const char* const place = static_cast<const char*>(block);
    return place >= earlyMemory && place < earlyMemory + sizeof(earlyMemory);
}

void* earlyBlock(size_t size)
{
    const size_t place = earlyUsed.fetch_add((size + 15) / 16 * 16);
    return place + size <= sizeof(earlyMemory) ? earlyMemory + place : nullptr;
}

const int MAX_BLOCK_PLACE = 10;

// The watched blocks: an open hash table by address. A slot that has been used stays used.
struct Block
{
    void* address;
    size_t size;
    bool isForeign;
    void* place[MAX_BLOCK_PLACE];
};

const size_t BLOCKS = size_t(1) << 16;
void* const WAS_USED = reinterpret_cast<void*>(1);
bool placesWanted = false;
Block watched[BLOCKS];
unsigned int watchedCounts[2] = {};  // the service's own, foreign ones

size_t firstSlot(const void* address)
{
    return (reinterpret_cast<uintptr_t>(address) >> 4) * 0x9E3779B97F4A7C15u >> 48;
}

void watch(void* address, size_t size, const void* caller)
{
    if (address == nullptr || !isWatching() || !isOnService())
    {
        return;
    }
    const Exemption here;
    Block block = {address, size, isForeignScope() || codeAt(caller) == Code::foreign, {}};
    if (placesWanted)
    {
        backtrace(block.place, MAX_BLOCK_PLACE);
    }
    const Spin spin;
    for (size_t i = 0; i < BLOCKS; ++i)
    {
        Block& slot = watched[(firstSlot(address) + i) % BLOCKS];
        if (slot.address == nullptr || slot.address == WAS_USED)
        {
            slot = block;
            ++watchedCounts[block.isForeign];
            return;
        }
    }
    std::abort();
}

// Whoever frees it.
void unwatch(const void* address)
{
    if (address == nullptr || !isWatching())
    {
        return;
    }
    const Spin spin;
    for (size_t i = 0; i < BLOCKS; ++i)
    {
        Block& slot = watched[(firstSlot(address) + i) % BLOCKS];
        if (slot.address == address)
        {
            slot.address = WAS_USED;
            --watchedCounts[slot.isForeign];
            return;
        }
        if (slot.address == nullptr)
        {
            return;
        }
    }
}

}  // namespace

// The C library's table of what is to be done at the end grows and never shrinks: room is made for the service's
// entries, or the block would pass for one of the service.
void FaultCore::startBlocks()
{
    static char owner;
    for (int i = 0; i < 64; ++i)
    {
        __cxa_atexit([](void*) {}, nullptr, &owner);
    }
    __cxa_finalize(&owner);
    placesWanted = std::getenv("ORV_FAULT_PLACES") != nullptr;
}

unsigned int FaultLayer::blocks()
{
    const Spin spin;
    return watchedCounts[false];
}

unsigned int FaultLayer::foreignBlocks()
{
    const Spin spin;
    return watchedCounts[true];
}

void FaultLayer::describeBlocks()
{
    for (const Block& block : watched)
    {
        if (block.address == nullptr || block.address == WAS_USED)
        {
            continue;
        }
        std::fprintf(stderr, "%zu bytes%s\n", block.size, block.isForeign ? " of a library" : "");
        int depth = 0;
        while (depth < MAX_BLOCK_PLACE && block.place[depth] != nullptr)
        {
            ++depth;
        }
        backtrace_symbols_fd(block.place, depth, STDERR_FILENO);
    }
}

}  // namespace OrvTest

using namespace OrvTest;

namespace
{

void* allocate(size_t size, const void* caller)
{
    if (lookingUp)
    {
        return earlyBlock(size);
    }
    lookingUp = true;
    const auto function = ORV_REAL(malloc);
    lookingUp = false;
    if (fails(Operation::allocate))
    {
        errno = ENOMEM;
        return nullptr;
    }
    void* const block = function(size);
    watch(block, size, caller);
    return block;
}

}  // namespace

extern "C"
{
    void* malloc(size_t size) noexcept
    {
        return allocate(size, ORV_CALLER);
    }

    void free(void* block) noexcept
    {
        if (isEarly(block))
        {
            return;
        }
        unwatch(block);
        ORV_REAL(free)(block);
    }

    void* calloc(size_t count, size_t size) noexcept
    {
        if (lookingUp)
        {
            return earlyBlock(count * size);  // fresh, thus zero
        }
        lookingUp = true;
        const auto function = ORV_REAL(calloc);
        lookingUp = false;
        if (fails(Operation::allocate))
        {
            errno = ENOMEM;
            return nullptr;
        }
        void* const block = function(count, size);
        watch(block, count * size, ORV_CALLER);
        return block;
    }

    void* realloc(void* block, size_t size) noexcept
    {
        if (isEarly(block))
        {
            void* const moved = malloc(size);
            if (moved != nullptr)
            {
                std::memcpy(moved, block, size);
            }
            return moved;
        }
        lookingUp = true;
        const auto function = ORV_REAL(realloc);
        lookingUp = false;
        if (fails(Operation::allocate))
        {
            errno = ENOMEM;
            return nullptr;
        }
        unwatch(block);
        void* const moved = function(block, size);
        watch(moved, size, ORV_CALLER);
        return moved;
    }
}

void* operator new(size_t size)
{
    void* const block = allocate(size != 0 ? size : 1, ORV_CALLER);
    if (block == nullptr)
    {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept
{
    free(block);
}

void operator delete(void* block, size_t) noexcept
{
    free(block);
}

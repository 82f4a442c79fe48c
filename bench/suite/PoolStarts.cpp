#include "PoolStarts.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>

// Neither class is needed here but for its name, and a second definition of a member would not compile.
namespace Poco
{
class Runnable;
class ThreadPool;
}  // namespace Poco

namespace
{

// void Poco::ThreadPool::start(Poco::Runnable&), with the object as the argument that it is to the machine.
#define ORV_POOL_START "_ZN4Poco10ThreadPool5startERNS_8RunnableE"
typedef void (*PoolStart)(Poco::ThreadPool* pool, Poco::Runnable& run);

PoolStart findPocosOwn()
{
    void* const symbol = dlsym(RTLD_NEXT, ORV_POOL_START);
    if (symbol == nullptr)
    {
        std::abort();  // this program is linked with POCO, so it cannot be missing
    }
    return reinterpret_cast<PoolStart>(symbol);
}

std::atomic<uint64_t> starts{0};

}  // namespace

extern "C" void orvBenchPoolStart(Poco::ThreadPool* pool, Poco::Runnable& run) __asm__(ORV_POOL_START);
extern "C" void orvBenchPoolStart(Poco::ThreadPool* pool, Poco::Runnable& run)
{
    static const PoolStart pocosOwn = findPocosOwn();
    starts.fetch_add(1, std::memory_order_relaxed);
    pocosOwn(pool, run);
}

namespace OrvBench
{

uint64_t PoolStarts::count()
{
    return starts.load(std::memory_order_relaxed);
}

}  // namespace OrvBench

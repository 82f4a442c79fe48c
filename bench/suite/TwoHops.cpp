#include "TwoHops.h"

#include <Poco/Runnable.h>
#include <Poco/ThreadPool.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <exception>
#include <stdexcept>
#include <thread>

#include "Clock.h"

namespace OrvBench
{

namespace
{

// The last of the two hops: a run on a pool thread.
class Arrival : public Poco::Runnable
{
public:
    void run() override { time.store(nowNanoseconds(), std::memory_order_release); }

    std::atomic<int64_t> time{0};
};

// The first: a thread that waits for a descriptor, and then starts a run on the pool.
class Forwarder
{
public:
    explicit Forwarder(Poco::Runnable& run) : _run(run), _descriptor(eventfd(0, EFD_CLOEXEC)), _end(false)
    {
        if (_descriptor < 0)
        {
            throw std::runtime_error("no descriptor");
        }
        _thread = std::thread([this] { forwardAll(); });
    }

    ~Forwarder()
    {
        _end.store(true);
        wake();
        _thread.join();
        _pool.joinAll();
        close(_descriptor);
    }

    void wake() const
    {
        const uint64_t one = 1;
        if (write(_descriptor, &one, sizeof(one)) != static_cast<ssize_t>(sizeof(one)))
        {
            std::terminate();  // nobody would wake up any more
        }
    }

    Forwarder(const Forwarder&) = delete;
    Forwarder& operator=(const Forwarder&) = delete;

private:
    void forwardAll()
    {
        uint64_t count = 0;
        while (waitUntilReadable() && read(_descriptor, &count, sizeof(count)) > 0 && !_end.load())
        {
            _pool.start(_run);
        }
    }

    bool waitUntilReadable() const
    {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(_descriptor, &readable);
        return select(_descriptor + 1, &readable, nullptr, nullptr, nullptr) == 1;
    }

    Poco::Runnable& _run;
    const int _descriptor;
    std::atomic<bool> _end;
    Poco::ThreadPool _pool;
    std::thread _thread;
};

}  // namespace

void timeTwoHops(unsigned int count, std::vector<int64_t>& samples)
{
    Arrival arrival;
    const Forwarder forwarder(arrival);
    int64_t next = nowNanoseconds();
    for (unsigned int i = 0; i < count; ++i)
    {
        next += MILLISECOND;
        sleepUntil(next);
        const int64_t start = nowNanoseconds();
        arrival.time.store(0, std::memory_order_relaxed);
        forwarder.wake();
        sleepUntil(start + MILLISECOND / 2);
        while (arrival.time.load(std::memory_order_acquire) == 0)
        {
            sleepUntil(nowNanoseconds() + MILLISECOND);
        }
        samples.push_back(arrival.time.load(std::memory_order_relaxed) - start);
    }
}

}  // namespace OrvBench

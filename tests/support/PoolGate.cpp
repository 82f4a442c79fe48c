#include "PoolGate.h"

namespace OrvTest
{

PoolGate::PoolGate(Poco::ThreadPool& pool, int count)
{
    try
    {
        for (; _started < count; ++_started)
        {
            pool.start(*this);
        }
    }
    catch (...)
    {
        release();
        throw;
    }
    std::unique_lock<std::mutex> lock(_mutex);
    _changed.wait(lock, [this, count] { return _inside == count; });
}

PoolGate::~PoolGate()
{
    release();
}

void PoolGate::release()
{
    std::unique_lock<std::mutex> lock(_mutex);
    // Every run that was started passes the gate; one that has not come in yet still will.
    _changed.wait(lock, [this] { return _open || _inside == _started; });
    _open = true;
    _changed.notify_all();
    _changed.wait(lock, [this] { return _inside == 0; });
}

void PoolGate::run()
{
    std::unique_lock<std::mutex> lock(_mutex);
    ++_inside;
    _changed.notify_all();
    _changed.wait(lock, [this] { return _open; });
    --_inside;
    _changed.notify_all();
}

}  // namespace OrvTest

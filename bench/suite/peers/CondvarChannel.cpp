#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "NotificationUtils.h"
#include "PeerChannels.h"
#include "ThreadPerSubscriber.h"

namespace OrvBench
{

namespace
{

// Threads:   put and close from the producer; the subscriber's own thread calls the receiver.
// Ownership: the queue owns what waits in it.
class Subscriber
{
public:
    Subscriber(unsigned int number, Receive receive)
        : _number(number), _receive(receive), _closed(false), _thread([this] { run(); })
    {
    }

    void put(OwnedNotification record)
    {
        bool wasEmpty = false;
        {
            std::lock_guard<std::mutex> lock(_mutex);
            wasEmpty = _queue.empty();
            _queue.push_back(std::move(record));
        }
        if (wasEmpty)
        {
            _arrived.notify_one();
        }
    }

    // What the thread has not taken yet is dropped.
    void close()
    {
        {
            std::lock_guard<std::mutex> lock(_mutex);
            _closed = true;
        }
        _arrived.notify_one();
        _thread.join();
    }

    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

private:
    // Takes all that waits at a time.
    void run()
    {
        std::deque<OwnedNotification> records;
        while (waitFor(records))
        {
            for (OwnedNotification& record : records)
            {
                _receive(_number, record->sequenceNumber);
                record.reset();
            }
            records.clear();
        }
    }

    // False at the end.
    bool waitFor(std::deque<OwnedNotification>& records)
    {
        std::unique_lock<std::mutex> lock(_mutex);
        _arrived.wait(lock, [this] { return _closed || !_queue.empty(); });
        records.swap(_queue);
        return !_closed;
    }

    const unsigned int _number;
    const Receive _receive;
    std::mutex _mutex;
    std::condition_variable _arrived;
    std::deque<OwnedNotification> _queue;  // guarded by _mutex, as is the next one
    bool _closed;
    std::thread _thread;  // last: it uses all the others
};

}  // namespace

std::unique_ptr<Channel> makeCondvarChannel()
{
    return std::make_unique<ThreadPerSubscriber<Subscriber>>();
}

}  // namespace OrvBench

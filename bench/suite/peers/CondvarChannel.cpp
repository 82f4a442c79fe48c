#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "NotificationUtils.h"
#include "PeerChannels.h"

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

class CondvarChannel : public Channel
{
public:
    ~CondvarChannel() override { closeAll(); }

    void open(const ChannelOptions& options, Receive receive) override
    {
        for (unsigned int number = 0; number < options.subscribers; ++number)
        {
            _subscribers.push_back(std::make_unique<Subscriber>(number, receive));
        }
    }

    void publish(const OrvOamSpiNbiNotificationValue_1& record) override
    {
        for (const std::unique_ptr<Subscriber>& subscriber : _subscribers)
        {
            subscriber->put(OwnedNotification(NotificationUtils::copyNotification(record)));
        }
    }

    void close() override { closeAll(); }

private:
    void closeAll()
    {
        for (const std::unique_ptr<Subscriber>& subscriber : _subscribers)
        {
            subscriber->close();
        }
        _subscribers.clear();
    }

    std::vector<std::unique_ptr<Subscriber>> _subscribers;
};

}  // namespace

std::unique_ptr<Channel> makeCondvarChannel()
{
    return std::make_unique<CondvarChannel>();
}

}  // namespace OrvBench

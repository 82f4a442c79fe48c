#include <Poco/AutoPtr.h>
#include <Poco/Notification.h>
#include <Poco/NotificationQueue.h>

#include <thread>
#include <utility>

#include "NotificationUtils.h"
#include "PeerChannels.h"
#include "ThreadPerSubscriber.h"

namespace OrvBench
{

namespace
{

// Carries one subscriber's copy of a record; without one it ends the subscriber's thread.
class Message : public Poco::Notification
{
public:
    explicit Message(OwnedNotification record) : _record(std::move(record)) {}

    const OrvOamSpiNbiNotificationValue_1* record() const { return _record.get(); }

private:
    const OwnedNotification _record;
};

// Threads: put and close from the producer; the subscriber's own thread calls the receiver.
class Subscriber
{
public:
    Subscriber(unsigned int number, Receive receive) : _number(number), _receive(receive), _thread([this] { run(); }) {}

    void put(OwnedNotification record) { _queue.enqueueNotification(new Message(std::move(record))); }

    // What still waits is dropped.
    void close()
    {
        _queue.enqueueUrgentNotification(new Message(nullptr));
        _thread.join();
    }

    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

private:
    void run()
    {
        while (true)
        {
            const Poco::AutoPtr<Poco::Notification> notification(_queue.waitDequeueNotification());
            const auto* const message = static_cast<const Message*>(notification.get());
            if (message->record() == nullptr)
            {
                return;
            }
            _receive(_number, message->record()->sequenceNumber);
        }
    }

    const unsigned int _number;
    const Receive _receive;
    Poco::NotificationQueue _queue;
    std::thread _thread;  // last: it uses all the others
};

}  // namespace

std::unique_ptr<Channel> makePocoQueueChannel()
{
    return std::make_unique<ThreadPerSubscriber<Subscriber>>();
}

}  // namespace OrvBench

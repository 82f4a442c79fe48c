#pragma once

#include <memory>
#include <vector>

#include "Channel.h"
#include "NotificationUtils.h"

namespace OrvBench
{

// A channel whose producer puts a copy into the queue of each subscriber, which has a thread of its own.
// Subscriber: made of its number and the Receive; put takes a copy; close returns when nothing more is received.
template <typename Subscriber>
class ThreadPerSubscriber : public Channel
{
public:
    ~ThreadPerSubscriber() override { closeAll(); }

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

}  // namespace OrvBench

#include <deque>

#include "NatsObjects.h"
#include "NatsServer.h"
#include "PeerChannels.h"

namespace OrvBench
{

namespace
{

class NatsChannel : public Channel
{
public:
    ~NatsChannel() override { closeAll(); }

    void open(const ChannelOptions& options, Receive receive) override
    {
        _publisher = connectToNats(_server.url(), options.prompt);
        _receiver = connectToNats(_server.url(), options.prompt);
        for (unsigned int number = 0; number < options.subscribers; ++number)
        {
            NatsSubscriber& subscriber = _subscribers.emplace_back(number, receive);
            natsSubscription* subscription = nullptr;
            requireNats(natsConnection_Subscribe(&subscription, _receiver.get(), NATS_SUBJECT,
                                                 NatsSubscriber::onMessage, &subscriber),
                        "natsConnection_Subscribe");
            subscriber.take(subscription);
        }
        // The server has seen the subscriptions when it answers.
        requireNats(natsConnection_Flush(_receiver.get()), "natsConnection_Flush");
    }

    void publish(const OrvOamSpiNbiNotificationValue_1& record) override
    {
        _bytes.resize(encodedSize(record));
        encode(record, _bytes.data());
        requireNats(
            natsConnection_Publish(_publisher.get(), NATS_SUBJECT, _bytes.data(), static_cast<int>(_bytes.size())),
            "natsConnection_Publish");
    }

    void close() override { closeAll(); }

private:
    void closeAll()
    {
        for (NatsSubscriber& subscriber : _subscribers)
        {
            subscriber.end();
        }
        _subscribers.clear();
        _receiver.reset();
        _publisher.reset();
    }

    NatsServer _server;
    NatsConnection _publisher;
    NatsConnection _receiver;
    std::deque<NatsSubscriber> _subscribers;
    std::vector<char> _bytes;
};

}  // namespace

std::unique_ptr<Channel> makeNatsChannel()
{
    return std::make_unique<NatsChannel>();
}

}  // namespace OrvBench

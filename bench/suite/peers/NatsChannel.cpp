#include <deque>

#include "NatsObjects.h"
#include "NatsServer.h"
#include "PeerChannels.h"

namespace OrvBench
{

namespace
{

enum class Connections
{
    Shared,  // by all subscribers
    Own      // one for each of them
};

class NatsChannel : public Channel
{
public:
    explicit NatsChannel(Connections connections) : _connections(connections) {}
    ~NatsChannel() override { closeAll(); }

    void open(const ChannelOptions& options, Receive receive) override
    {
        _publisher = connectToNats(_server.url(), options.prompt);
        for (unsigned int number = 0; number < options.subscribers; ++number)
        {
            if (number == 0 || _connections == Connections::Own)
            {
                _receivers.push_back(connectToNats(_server.url(), options.prompt));
            }
            subscribe(_receivers.back().get(), _subscribers.emplace_back(number, receive));
        }
        for (const NatsConnection& connection : _receivers)
        {
            // The server has seen the subscriptions when it answers.
            requireNats(natsConnection_Flush(connection.get()), "natsConnection_Flush");
        }
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
    static void subscribe(natsConnection* connection, NatsSubscriber& subscriber)
    {
        natsSubscription* subscription = nullptr;
        requireNats(
            natsConnection_Subscribe(&subscription, connection, NATS_SUBJECT, NatsSubscriber::onMessage, &subscriber),
            "natsConnection_Subscribe");
        subscriber.take(subscription);
    }

    void closeAll()
    {
        for (NatsSubscriber& subscriber : _subscribers)
        {
            subscriber.end();
        }
        _subscribers.clear();
        _receivers.clear();
        _publisher.reset();
    }

    const Connections _connections;
    NatsServer _server;
    NatsConnection _publisher;
    std::vector<NatsConnection> _receivers;
    std::deque<NatsSubscriber> _subscribers;
    std::vector<char> _bytes;
};

}  // namespace

std::unique_ptr<Channel> makeNatsChannel()
{
    return std::make_unique<NatsChannel>(Connections::Shared);
}

std::unique_ptr<Channel> makeNatsOwnChannel()
{
    return std::make_unique<NatsChannel>(Connections::Own);
}

}  // namespace OrvBench

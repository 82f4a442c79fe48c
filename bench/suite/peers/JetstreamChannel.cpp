#include <deque>

#include "NatsObjects.h"
#include "NatsServer.h"
#include "PeerChannels.h"

namespace OrvBench
{

namespace
{

const char* const STREAM = "RECORDS";

class JetstreamChannel : public Channel
{
public:
    ~JetstreamChannel() override { closeAll(); }

    void open(const ChannelOptions& options, Receive receive) override
    {
        _publisher = connectToNats(_server.url(), options.prompt);
        _receiver = connectToNats(_server.url(), options.prompt);
        _publisherStream = streamContext(_publisher.get());
        _receiverStream = streamContext(_receiver.get());
        addStream(options.storeSize);
        for (unsigned int number = 0; number < options.subscribers; ++number)
        {
            subscribe(_subscribers.emplace_back(number, receive));
        }
    }

    void publish(const OrvOamSpiNbiNotificationValue_1& record) override
    {
        _bytes.resize(encodedSize(record));
        encode(record, _bytes.data());
        requireNats(js_PublishAsync(_publisherStream.get(), NATS_SUBJECT, _bytes.data(),
                                    static_cast<int>(_bytes.size()), nullptr),
                    "js_PublishAsync");
    }

    void close() override { closeAll(); }

private:
    static NatsStreamContext streamContext(natsConnection* connection)
    {
        jsOptions options;
        requireNats(jsOptions_Init(&options), "jsOptions_Init");
        options.PublishAsync.MaxPending = 4000;
        options.PublishAsync.StallWait = 10000;  // milliseconds
        jsCtx* context = nullptr;
        requireNats(natsConnection_JetStream(&context, connection, &options), "natsConnection_JetStream");
        return NatsStreamContext(context);
    }

    void addStream(unsigned int records)
    {
        jsStreamConfig configuration;
        requireNats(jsStreamConfig_Init(&configuration), "jsStreamConfig_Init");
        const char* subjects[] = {NATS_SUBJECT};
        configuration.Name = STREAM;
        configuration.Subjects = subjects;
        configuration.SubjectsLen = 1;
        configuration.Storage = js_MemoryStorage;
        configuration.MaxMsgs = records;
        requireNats(js_AddStream(nullptr, _receiverStream.get(), &configuration, nullptr, nullptr), "js_AddStream");
    }

    void subscribe(NatsSubscriber& subscriber)
    {
        jsSubOptions options;
        requireNats(jsSubOptions_Init(&options), "jsSubOptions_Init");
        options.Stream = STREAM;
        options.Ordered = true;
        natsSubscription* subscription = nullptr;
        requireNats(js_Subscribe(&subscription, _receiverStream.get(), NATS_SUBJECT, NatsSubscriber::onMessage,
                                 &subscriber, nullptr, &options, nullptr),
                    "js_Subscribe");
        subscriber.take(subscription);
    }

    void closeAll()
    {
        for (NatsSubscriber& subscriber : _subscribers)
        {
            subscriber.end();
        }
        _subscribers.clear();
        _publisherStream.reset();
        _receiverStream.reset();
        _receiver.reset();
        _publisher.reset();
    }

    NatsServer _server;
    NatsConnection _publisher;
    NatsConnection _receiver;
    NatsStreamContext _publisherStream;
    NatsStreamContext _receiverStream;
    std::deque<NatsSubscriber> _subscribers;
    std::vector<char> _bytes;
};

}  // namespace

std::unique_ptr<Channel> makeJetstreamChannel()
{
    return std::make_unique<JetstreamChannel>();
}

}  // namespace OrvBench

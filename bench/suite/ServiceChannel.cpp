#include "ServiceChannel.h"

namespace OrvBench
{

namespace
{

// What the handler needs. Written before the first subscription is made.
Receive receiver = nullptr;
unsigned int firstHandle = 0;

OrvReturnT handle(unsigned int subscriptionHandle, OrvOamSpiNbiNotificationValue_1* notification)
{
    const bool pushed = notification->notificationType < overflowNotification;
    receiver(subscriptionHandle - firstHandle, pushed ? notification->sequenceNumber : 0);
    return OrvOk;
}

}  // namespace

ServiceChannel::~ServiceChannel()
{
    end();
}

void ServiceChannel::open(const ChannelOptions& options, Receive receive)
{
    _host = std::make_unique<ServiceHost>(options.library, options.storeSize);
    _table = &_host->table();
    _host->fillStore();
    receiver = receive;
    OrvOamSpiNbiNotificationHandler_1 handler = {handle};
    requireOk(_table->registerHandler(&handler, &_handlerId), "registerHandler");
    for (unsigned int i = 0; i < options.subscribers; ++i)
    {
        unsigned int subscription = 0;
        requireOk(_table->getSubscriptionHandle(&subscription), "getSubscriptionHandle");
        if (i == 0)
        {
            firstHandle = subscription;
        }
        OrvNameValuePair* everything[] = {nullptr};
        requireOk(_table->subscribe(_handlerId, everything, subscription, 0, 0, false, 0), "subscribe");
    }
}

void ServiceChannel::publish(const OrvOamSpiNbiNotificationValue_1& record)
{
    // The table takes the record as one that it may change, and leaves it alone.
    requireOk(_table->pushNotification(const_cast<OrvOamSpiNbiNotificationValue_1&>(record)), "pushNotification");
}

void ServiceChannel::end()
{
    if (_host)
    {
        _table->unregisterHandler(_handlerId);
        _host.reset();
    }
}

}  // namespace OrvBench

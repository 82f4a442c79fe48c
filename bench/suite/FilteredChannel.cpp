#include "FilteredChannel.h"

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

FilteredChannel::~FilteredChannel()
{
    close();
}

void FilteredChannel::open(const ChannelOptions& options, Receive receive)
{
    _host = std::make_unique<ServiceHost>(options.library, options.storeSize);
    _host->fillStore();
    receiver = receive;
    OrvOamSpiNbiNotificationHandler_1 handler = {handle};
    requireOk(_host->table().registerHandler(&handler, &_handlerId), "registerHandler");
    for (unsigned int i = 0; i < options.subscribers; ++i)
    {
        unsigned int subscription = 0;
        requireOk(_host->table().getSubscriptionHandle(&subscription), "getSubscriptionHandle");
        if (i == 0)
        {
            firstHandle = subscription;
        }
        OrvNameValuePair* filters[] = {&_filter, nullptr};
        requireOk(_host->table().subscribe(_handlerId, filters, subscription, 0, 0, false, 0), "subscribe");
    }
}

void FilteredChannel::publish(const OrvOamSpiNbiNotificationValue_1& record)
{
    // The table takes the record as one that it may change, and leaves it alone.
    requireOk(_host->table().pushNotification(const_cast<OrvOamSpiNbiNotificationValue_1&>(record)),
              "pushNotification");
}

void FilteredChannel::close()
{
    if (_host)
    {
        _host->table().unregisterHandler(_handlerId);
        _host.reset();
    }
}

}  // namespace OrvBench

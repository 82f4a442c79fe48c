// What the two channels over nats-server share.
#pragma once

#include <nats/nats.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Channel.h"
#include "WireRecord.h"

namespace OrvBench
{

template <typename Object, void (*destroy)(Object*)>
struct NatsDeleter
{
    void operator()(Object* object) const { destroy(object); }
};

typedef std::unique_ptr<natsConnection, NatsDeleter<natsConnection, natsConnection_Destroy>> NatsConnection;
typedef std::unique_ptr<natsSubscription, NatsDeleter<natsSubscription, natsSubscription_Destroy>> NatsSubscription;
typedef std::unique_ptr<natsOptions, NatsDeleter<natsOptions, natsOptions_Destroy>> NatsOptions;
typedef std::unique_ptr<jsCtx, NatsDeleter<jsCtx, jsCtx_Destroy>> NatsStreamContext;

const char* const NATS_SUBJECT = "records";

inline void requireNats(natsStatus status, const char* what)
{
    if (status != NATS_OK)
    {
        throw std::runtime_error(std::string(what) + ": " + natsStatus_GetText(status));
    }
}

// prompt: what is published goes out at once instead of being collected for up to a millisecond.
inline NatsConnection connectToNats(const std::string& url, bool prompt)
{
    natsOptions* made = nullptr;
    requireNats(natsOptions_Create(&made), "natsOptions_Create");
    const NatsOptions options(made);
    requireNats(natsOptions_SetURL(options.get(), url.c_str()), "natsOptions_SetURL");
    requireNats(natsOptions_SetSendAsap(options.get(), prompt), "natsOptions_SetSendAsap");
    requireNats(natsOptions_SetAllowReconnect(options.get(), false), "natsOptions_SetAllowReconnect");
    natsConnection* connection = nullptr;
    requireNats(natsConnection_Connect(&connection, options.get()), "natsConnection_Connect");
    return NatsConnection(connection);
}

// A subscriber that is called on a thread of its subscription.
class NatsSubscriber
{
public:
    NatsSubscriber(unsigned int number, Receive receive) : _number(number), _receive(receive) {}

    // The function and its argument for the library.
    static void onMessage(natsConnection*, natsSubscription*, natsMsg* message, void* subscriber)
    {
        const auto* const self = static_cast<const NatsSubscriber*>(subscriber);
        const DecodedRecord record(natsMsg_GetData(message), static_cast<size_t>(natsMsg_GetDataLength(message)));
        natsMsg_Destroy(message);
        self->_receive(self->_number, (*record).sequenceNumber);
    }

    void take(natsSubscription* subscription)
    {
        _subscription.reset(subscription);
        requireNats(natsSubscription_SetPendingLimits(subscription, UNLIMITED, UNLIMITED),
                    "natsSubscription_SetPendingLimits");
    }

    // What still waits is received; nothing is when it has returned.
    void end()
    {
        const int64_t patience = 10000;  // milliseconds
        natsSubscription_Drain(_subscription.get());
        natsSubscription_WaitForDrainCompletion(_subscription.get(), patience);
    }

private:
    static const int UNLIMITED = -1;

    const unsigned int _number;
    const Receive _receive;
    NatsSubscription _subscription;
};

}  // namespace OrvBench

#pragma once

#include <memory>

#include "Channel.h"
#include "ServiceHost.h"

namespace OrvBench
{

// The service: records go in through the table and come out at handlers, one subscription with an empty filter each.
// When open returns the store is full. A record that the service has made itself, such as an overflow, is received with
// number 0. One can be open at a time, since a handler is told nothing but its subscription's handle.
class ServiceChannel : public Channel
{
public:
    ~ServiceChannel() override;

    void open(const ChannelOptions& options, Receive receive) override;
    void publish(const OrvOamSpiNbiNotificationValue_1& record) override;
    void close() override { end(); }

    // While it is open.
    ServiceHost& host() { return *_host; }

private:
    void end();

    std::unique_ptr<ServiceHost> _host;
    OrvOamSpiNbiNotificationService* _table = nullptr;
    unsigned int _handlerId = 0;
};

}  // namespace OrvBench

#pragma once

#include <memory>

#include "Channel.h"
#include "ServiceHost.h"

namespace OrvBench
{

// The service with subscribers that all have the same filter of one name and one expression, which must accept every
// record that is published. One can be open at a time.
class FilteredChannel : public Channel
{
public:
    // The strings are the caller's and outlive the channel.
    explicit FilteredChannel(const OrvNameValuePair& filter) : _filter(filter) {}
    ~FilteredChannel() override;

    void open(const ChannelOptions& options, Receive receive) override;
    void publish(const OrvOamSpiNbiNotificationValue_1& record) override;
    void close() override;

private:
    OrvNameValuePair _filter;
    std::unique_ptr<ServiceHost> _host;
    unsigned int _handlerId = 0;
};

}  // namespace OrvBench

// Takes the place of NatsChannel.cpp and JetstreamChannel.cpp where server or library are not installed.
#include "PeerChannels.h"
#include "Peers.h"

namespace OrvBench
{

std::unique_ptr<Channel> makeNatsChannel()
{
    throw UnavailableChannel("NATS is not installed here (nats-server, libnats-dev)");
}

std::unique_ptr<Channel> makeNatsOwnChannel()
{
    return makeNatsChannel();
}

std::unique_ptr<Channel> makeJetstreamChannel()
{
    throw UnavailableChannel("JetStream is not installed here (nats-server, libnats-dev)");
}

}  // namespace OrvBench

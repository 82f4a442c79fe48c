// Takes the place of ZeromqChannel.cpp where the library is not installed.
#include "PeerChannels.h"
#include "Peers.h"

namespace OrvBench
{

std::unique_ptr<Channel> makeZeromqChannel()
{
    throw UnavailableChannel("ZeroMQ is not installed here (libzmq3-dev)");
}

}  // namespace OrvBench

#include <zmq.h>

#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "PeerChannels.h"
#include "WireRecord.h"

namespace OrvBench
{

namespace
{

const char* const ENDPOINT = "inproc://records";
const int UNLIMITED = 0;

void require(int result, const char* what)
{
    if (result < 0)
    {
        throw std::runtime_error(std::string(what) + ": " + zmq_strerror(zmq_errno()));
    }
}

// A socket, closed without waiting for what was not sent.
class Socket
{
public:
    Socket(void* context, int type) : _socket(zmq_socket(context, type))
    {
        if (_socket == nullptr)
        {
            throw std::runtime_error(std::string("zmq_socket: ") + zmq_strerror(zmq_errno()));
        }
        set(ZMQ_LINGER, 0);
        set(ZMQ_SNDHWM, UNLIMITED);
        set(ZMQ_RCVHWM, UNLIMITED);
    }
    ~Socket() { zmq_close(_socket); }

    void set(int option, int value)
    {
        require(zmq_setsockopt(_socket, option, &value, sizeof(value)), "zmq_setsockopt");
    }
    void* get() const { return _socket; }

    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

private:
    void* const _socket;
};

class Message
{
public:
    Message() { zmq_msg_init(&_message); }
    explicit Message(size_t size) { require(zmq_msg_init_size(&_message, size), "zmq_msg_init_size"); }
    ~Message() { zmq_msg_close(&_message); }

    zmq_msg_t* get() { return &_message; }
    char* data() { return static_cast<char*>(zmq_msg_data(&_message)); }
    size_t size() { return zmq_msg_size(&_message); }

    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

private:
    zmq_msg_t _message;
};

// The thread of one subscriber, until the context is shut down. A socket is used by the thread that has made it.
void receiveAll(void* context, unsigned int number, Receive receive)
{
    Socket socket(context, ZMQ_SUB);
    require(zmq_connect(socket.get(), ENDPOINT), "zmq_connect");
    require(zmq_setsockopt(socket.get(), ZMQ_SUBSCRIBE, "", 0), "zmq_setsockopt");
    while (true)
    {
        Message message;
        if (zmq_msg_recv(message.get(), socket.get(), 0) < 0)
        {
            if (zmq_errno() == EINTR)
            {
                continue;
            }
            return;
        }
        // What arrives is shared by all subscribers; from here on this one has a record of its own.
        const DecodedRecord record(message.data(), message.size());
        receive(number, (*record).sequenceNumber);
    }
}

// The publishing socket is of the kind that tells of each subscription, so that open can wait for all of them.
class ZeromqChannel : public Channel
{
public:
    ZeromqChannel() : _context(zmq_ctx_new()) {}
    ~ZeromqChannel() override { closeAll(); }

    void open(const ChannelOptions& options, Receive receive) override
    {
        const auto sockets = static_cast<int>(options.subscribers) + 1;
        require(zmq_ctx_set(_context, ZMQ_MAX_SOCKETS, sockets), "zmq_ctx_set");
        _publisher = std::make_unique<Socket>(_context, ZMQ_XPUB);
        _publisher->set(ZMQ_XPUB_VERBOSE, 1);
        require(zmq_bind(_publisher->get(), ENDPOINT), "zmq_bind");
        for (unsigned int number = 0; number < options.subscribers; ++number)
        {
            _threads.emplace_back(receiveAll, _context, number, receive);
        }
        for (unsigned int number = 0; number < options.subscribers; ++number)
        {
            Message subscription;
            require(zmq_msg_recv(subscription.get(), _publisher->get(), 0), "zmq_msg_recv");
        }
    }

    void publish(const OrvOamSpiNbiNotificationValue_1& record) override
    {
        Message message(encodedSize(record));
        encode(record, message.data());
        require(zmq_msg_send(message.get(), _publisher->get(), 0), "zmq_msg_send");
    }

    void close() override { closeAll(); }

private:
    void closeAll()
    {
        if (_context == nullptr)
        {
            return;
        }
        zmq_ctx_shutdown(_context);
        for (std::thread& thread : _threads)
        {
            thread.join();
        }
        _publisher.reset();
        zmq_ctx_term(_context);
        _context = nullptr;
    }

    void* _context;
    std::unique_ptr<Socket> _publisher;
    std::vector<std::thread> _threads;
};

}  // namespace

std::unique_ptr<Channel> makeZeromqChannel()
{
    return std::make_unique<ZeromqChannel>();
}

}  // namespace OrvBench

#pragma once

namespace Orv
{

// Kinds of message. Messages are told apart by this value alone, never by their class.
enum MessageTypeT : int
{
    MessageTypeStateChange = 5,
    MessageTypeNotification = 21
};

// Base of what travels through the pipe of a ThreadWPipes. Allocated with new by the sender, deleted by the receiver.
class PipeMessage
{
public:
    explicit PipeMessage(MessageTypeT type) : _type(type) {}
    virtual ~PipeMessage() = default;

    PipeMessage(const PipeMessage&) = delete;
    PipeMessage& operator=(const PipeMessage&) = delete;

    MessageTypeT getMessageType() const { return _type; }

private:
    const MessageTypeT _type;
};

}  // namespace Orv

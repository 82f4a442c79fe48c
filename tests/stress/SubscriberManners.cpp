// What a handler does with a record, by the manner of its subscriber.
#include <stdexcept>

#include "OrvException.h"
#include "Subscriber.h"

namespace OrvStress
{

namespace
{

const int EXCEPTION_KINDS = 3;

}  // namespace

Subscriber::Act Subscriber::act(const OrvOamSpiNbiNotificationValue_1& notification)
{
    Act todo = {OrvOk, 0, false, 0};
    const unsigned int chance = static_cast<unsigned int>(_handlerRandom() % 64);
    if (released())
    {
        return todo;
    }
    switch (_manner)
    {
        case Manner::Fast:
            if (chance == 0)
            {
                queryTimes();
            }
            break;
        case Manner::Slow:
            todo.wait = notification.notificationType <= attributeChanged;
            todo.waitForPushes = 1 + chance;
            break;
        case Manner::Retrying:
            if (_retriesLeft != 0)
            {
                --_retriesLeft;
                todo.answer = OrvRetry;
            }
            else
            {
                _retriesLeft = chance < 8 ? chance % 4 : 0;
            }
            break;
        case Manner::RetryingAlways:
            todo.answer = OrvRetry;
            break;
        case Manner::Stuck:
            todo.wait = true;
            break;
        case Manner::Deregistering:
            if (_recordsUntilDeregistering-- == 0)
            {
                todo.answer = OrvNotFound;
                ++_accounts.answers;
            }
            break;
        case Manner::Throwing:
            if (chance % 4 != 0)
            {
                todo.exception = 1 + static_cast<int>(chance) % EXCEPTION_KINDS;
                ++_accounts.exceptions;
                ++_accounts.answers;
            }
            break;
        case Manner::Odd:
            if (chance % 2 != 0)
            {
                static const OrvReturnT codes[] = {OrvNotRunning, OrvFailure, OrvBadArgument, 99};
                todo.answer = codes[chance % 4];
                ++_accounts.answers;
            }
            break;
    }
    return todo;
}

// What a handler may call.
void Subscriber::queryTimes()
{
    OrvOamSpiNbiNotificationService& table = _service.table();
    long long time = 0;
    const OrvReturnT results[] = {table.getOldestBufferTimestamp(&time), table.getLastAgedNotificationTime(&time),
                                  table.getBufferCreationTime(&time)};
    for (const OrvReturnT result : results)
    {
        if (result != OrvOk && (result != OrvNotRunning || _ledger.phase() == _phase))
        {
            wrong("a time query inside the handler gave " + std::to_string(result));
        }
    }
}

void Subscriber::throwSomething(int kind)
{
    switch (kind)
    {
        case 1:
            throw Orv::OrvException("thrown by subscriber %u", _place);
        case 2:
            throw std::runtime_error("thrown by a subscriber");
        default:
            throw kind;
    }
}

}  // namespace OrvStress

#include "RecordingHandler.h"

#include <Poco/Thread.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <utility>

#include "Crossing.h"

namespace OrvTest
{

namespace
{

const std::chrono::milliseconds STALL(200);

// Tells a nudge from all others: after a delete a subtree filter gives a control record the delete's DNs.
const int64_t NUDGE_TIME = 8999999999999999999;

struct Table
{
    std::mutex mutex;
    std::condition_variable left;
    std::map<unsigned int, RecordingHandler*> handlers;
    std::map<unsigned int, unsigned int> calls;  // under way, by handle
    unsigned int strays = 0;
    std::function<void()> nudge;
};

Table& table()
{
    static Table theTable;
    return theTable;
}

// A call that is under way keeps its handler alive.
class CallInProgress
{
public:
    CallInProgress(unsigned int handle, bool isNudge) : _handle(handle)
    {
        const std::lock_guard<std::mutex> lock(table().mutex);
        const auto found = table().handlers.find(handle);
        _handler = found == table().handlers.end() ? nullptr : found->second;
        if (_handler == nullptr && !isNudge)
        {
            ++table().strays;
        }
        ++table().calls[handle];
    }

    ~CallInProgress()
    {
        const std::lock_guard<std::mutex> lock(table().mutex);
        --table().calls[_handle];
        table().left.notify_all();
    }

    RecordingHandler* handler() const { return _handler; }

    CallInProgress(const CallInProgress&) = delete;
    CallInProgress& operator=(const CallInProgress&) = delete;

private:
    const unsigned int _handle;
    RecordingHandler* _handler;
};

void nudgeStalled()
{
    std::function<void()> nudge;
    {
        const std::lock_guard<std::mutex> lock(table().mutex);
        nudge = table().nudge;
    }
    if (nudge)
    {
        nudge();
    }
}

Received copyOf(unsigned int function, unsigned int handle, const OrvOamSpiNbiNotificationValue_1& record)
{
    const Poco::Thread* thread = Poco::Thread::current();
    Received received = {handle,
                         function,
                         &record,
                         record.eventTime,
                         record.dn == nullptr,
                         record.dn == nullptr ? "" : record.dn,
                         record.txHandle,
                         record.sequenceNumber,
                         record.notificationType,
                         record.attributes == nullptr,
                         {},
                         thread == nullptr ? "" : thread->getName()};
    for (ZelMoNamedAttributeValueContainer_3** attribute = record.attributes;
         attribute != nullptr && *attribute != nullptr; ++attribute)
    {
        received.attributes.push_back((*attribute)->name);
    }
    return received;
}

}  // namespace

std::string describe(const std::vector<Received>& records)
{
    std::string text;
    for (const Received& record : records)
    {
        text += "  type " + std::to_string(record.type) + " time " + std::to_string(record.eventTime) + " dn " +
                (record.dnIsNull ? "(null)" : record.dn) + "\n";
    }
    return text.empty() ? "  (no record)\n" : text;
}

RecordingHandler::RecordingHandler(unsigned int handle) : _handle(handle)
{
    const std::lock_guard<std::mutex> lock(table().mutex);
    table().handlers[handle] = this;
}

RecordingHandler::~RecordingHandler()
{
    release();
    std::unique_lock<std::mutex> lock(table().mutex);
    table().handlers.erase(_handle);
    table().left.wait(lock, [this] { return table().calls[_handle] == 0; });
}

OrvOamSpiNbiNotificationHandler_1 RecordingHandler::handlerRecord(unsigned int function)
{
    static const OrvOamSpiNbiNotificationHandler_1 records[FUNCTIONS] = {
        {RecordingHandler::notify<0>}, {RecordingHandler::notify<1>}, {RecordingHandler::notify<2>}};
    return records[function];
}

unsigned int RecordingHandler::strays()
{
    const std::lock_guard<std::mutex> lock(table().mutex);
    return table().strays;
}

void RecordingHandler::whenStalled(std::function<void()> nudge)
{
    const std::lock_guard<std::mutex> lock(table().mutex);
    table().nudge = std::move(nudge);
}

// Not even a subscription that has ended turns this type away.
Notification RecordingHandler::makeNudge()
{
    return makeNotification(NUDGE_TIME, "Nudge=1", notificationComplete);
}

template <unsigned int function>
OrvReturnT RecordingHandler::notify(unsigned int subscriptionHandle, OrvOamSpiNbiNotificationValue_1* notification)
{
    return dispatch(function, subscriptionHandle, notification);
}

OrvReturnT RecordingHandler::dispatch(unsigned int function, unsigned int subscriptionHandle,
                                      OrvOamSpiNbiNotificationValue_1* notification)
{
    const Crossing crossing(Crossing::toTest);
    const bool isNudge = notification->eventTime == NUDGE_TIME;
    const CallInProgress call(subscriptionHandle, isNudge);
    if (call.handler() == nullptr)
    {
        return OrvOk;
    }
    if (isNudge)
    {
        call.handler()->noteNudge();
        return OrvOk;
    }
    return call.handler()->take(copyOf(function, subscriptionHandle, *notification));
}

void RecordingHandler::noteNudge()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _called = true;
}

OrvReturnT RecordingHandler::take(Received received)
{
    std::unique_lock<std::mutex> lock(_mutex);
    _received.push_back(received);
    _called = true;
    ++_inside;
    _mostAtOnce = std::max(_mostAtOnce, _inside);
    Answer answer;
    if (!_answers.empty())
    {
        answer = std::move(_answers.front());
        _answers.pop_front();
    }
    if (_holding)
    {
        ++_held;
        _changed.notify_all();
        _changed.wait(lock, [this] { return !_holding; });
        --_held;
    }
    const OrvReturnT defaultAnswer = _defaultAnswer;
    --_inside;
    _changed.notify_all();
    lock.unlock();
    return answer ? answer(received) : defaultAnswer;
}

void RecordingHandler::answer(const std::vector<OrvReturnT>& codes)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    for (const OrvReturnT code : codes)
    {
        _answers.push_back([code](const Received&) { return code; });
    }
}

void RecordingHandler::answerWith(Answer answer)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _answers.push_back(std::move(answer));
}

void RecordingHandler::answerAlways(OrvReturnT code)
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _defaultAnswer = code;
}

void RecordingHandler::hold()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _holding = true;
}

void RecordingHandler::release()
{
    const std::lock_guard<std::mutex> lock(_mutex);
    _holding = false;
    _changed.notify_all();
}

bool RecordingHandler::waitUntil(const std::function<bool()>& fact)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(TIMEOUT_SECONDS);
    std::unique_lock<std::mutex> lock(_mutex);
    while (!_changed.wait_for(lock, STALL, fact))
    {
        if (std::chrono::steady_clock::now() >= deadline)
        {
            return false;
        }
        // Only a run that ends can miss a record: not before the first call, nor while one is under way.
        if (_called && _inside == 0)
        {
            lock.unlock();
            nudgeStalled();
            lock.lock();
        }
    }
    return true;
}

bool RecordingHandler::waitUntilHeld()
{
    return waitUntil([this] { return _held > 0; });
}

bool RecordingHandler::waitFor(size_t count)
{
    return waitUntil([this, count] { return _received.size() >= count; });
}

bool RecordingHandler::waitForType(int32_t type, size_t count)
{
    return waitUntil(
        [this, type, count]
        {
            const auto wanted = [type](const Received& received) { return received.type == type; };
            return static_cast<size_t>(std::count_if(_received.begin(), _received.end(), wanted)) >= count;
        });
}

bool RecordingHandler::waitForDn(const std::string& dn)
{
    return waitUntil(
        [this, &dn]
        {
            return std::any_of(_received.begin(), _received.end(),
                               [&dn](const Received& received) { return received.dn == dn; });
        });
}

std::vector<Received> RecordingHandler::received() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _received;
}

std::vector<int32_t> RecordingHandler::types() const
{
    std::vector<int32_t> types;
    for (const Received& one : received())
    {
        types.push_back(one.type);
    }
    return types;
}

std::vector<std::string> RecordingHandler::dns() const
{
    std::vector<std::string> dns;
    for (const Received& one : received())
    {
        dns.push_back(one.dnIsNull ? "-" : one.dn);
    }
    return dns;
}

size_t RecordingHandler::count() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _received.size();
}

unsigned int RecordingHandler::mostAtOnce() const
{
    const std::lock_guard<std::mutex> lock(_mutex);
    return _mostAtOnce;
}

}  // namespace OrvTest

#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "OrvOamSpiNbiNotificationService_1.h"
#include "Records.h"

namespace OrvTest
{

// What one call of notify brought, copied out of the record.
struct Received
{
    unsigned int handle;
    unsigned int function;  // which of the table's C functions was called
    const void* record;     // where the record stood; not to be followed
    int64_t eventTime;
    bool dnIsNull;
    std::string dn;
    uint32_t txHandle;
    uint32_t sequenceNumber;
    int32_t type;
    bool attributesIsNull;
    std::vector<std::string> attributes;  // the names, in order
    std::string threadName;               // of the Poco thread that made the call
};

// For messages of failed expectations.
std::string describe(const std::vector<Received>& records);

// A subscriber of one subscription handle: records every call, answers as the test has scripted, and can be held
// inside notify.
//
// A handler function carries no context but the subscription handle, so all objects stand in one table by handle. A
// call for a handle that has no object is counted as a stray.
//
// A record that the service queues while a delivery run ends may wait for the next arrival at its subscription. So that
// no test hangs in this window, a wait that makes no progress calls what whenStalled has set, which brings an arrival:
// best makeNudge's record, which is answered with OrvOk and neither recorded nor held.
//
// Threads: any. The destructor waits for a call that is running.
class RecordingHandler
{
public:
    static constexpr unsigned int FUNCTIONS = 3;
    static constexpr int TIMEOUT_SECONDS = 60;  // turns a hang into a failure

    typedef std::function<OrvReturnT(const Received&)> Answer;

    explicit RecordingHandler(unsigned int handle);
    ~RecordingHandler();

    // The handler record with the given C function. All functions reach the same objects.
    static OrvOamSpiNbiNotificationHandler_1 handlerRecord(unsigned int function = 0);
    // Calls of notify for handles without an object, since the start of the process.
    static unsigned int strays();

    // Called about every fifth of a second by a wait of any object whose handler has been called before and is not
    // being called now, on the waiting thread and without a lock; null for nothing. The function must not wait for a
    // delivery.
    static void whenStalled(std::function<void()> nudge);
    // Passes every filter, stop time and clock change, and stands last in the buffer, where it takes a record's room.
    static Notification makeNudge();

    unsigned int handle() const { return _handle; }

    // The answers of the next calls, in order; when they are used up, the answer is OrvOk or what answerAlways says.
    void answer(const std::vector<OrvReturnT>& codes);
    void answerWith(Answer answer);
    void answerAlways(OrvReturnT code);

    // From now on every call waits inside notify, after it has been recorded, until release.
    void hold();
    void release();
    // Waits until a call is held, false after the time-out.
    bool waitUntilHeld();

    // Waits until at least count calls have been made, false after the time-out.
    bool waitFor(size_t count);
    // Waits until a record of this type has come, false after the time-out.
    bool waitForType(int32_t type, size_t count = 1);
    bool waitForDn(const std::string& dn);

    std::vector<Received> received() const;
    std::vector<int32_t> types() const;
    // The DNs of what has come, "-" for a null one.
    std::vector<std::string> dns() const;
    size_t count() const;
    // The largest number of calls that were under way at the same time.
    unsigned int mostAtOnce() const;

    RecordingHandler(const RecordingHandler&) = delete;
    RecordingHandler& operator=(const RecordingHandler&) = delete;

private:
    template <unsigned int function>
    static OrvReturnT notify(unsigned int subscriptionHandle, OrvOamSpiNbiNotificationValue_1* notification);
    static OrvReturnT dispatch(unsigned int function, unsigned int subscriptionHandle,
                               OrvOamSpiNbiNotificationValue_1* notification);

    OrvReturnT take(Received received);
    void noteNudge();
    bool waitUntil(const std::function<bool()>& fact);

    const unsigned int _handle;
    mutable std::mutex _mutex;
    std::condition_variable _changed;
    std::vector<Received> _received;
    std::deque<Answer> _answers;
    OrvReturnT _defaultAnswer = OrvOk;
    bool _holding = false;
    bool _called = false;  // nudges included
    unsigned int _held = 0;
    unsigned int _inside = 0;
    unsigned int _mostAtOnce = 0;
};

}  // namespace OrvTest

#pragma once

#include "EventConsumer.h"

namespace OrvNbiNotificationService
{

class NotificationServiceRunnable;

// Listens for the framework's clock change event, from construction to destruction. One object at a time.
// Threads:   constructed and destroyed on the service thread, called on the router's event thread.
// Ownership: the runnable is borrowed.
// Failure:   a router that refuses at construction ends the process.
class ClockChangeHandler
{
public:
    explicit ClockChangeHandler(NotificationServiceRunnable* runnable);
    virtual ~ClockChangeHandler();

    // value points to the new time, an unsigned 64-bit number of nanoseconds since the Unix epoch.
    void onClockChange_1(const char* eventType, void* value);

    ClockChangeHandler(const ClockChangeHandler&) = delete;
    ClockChangeHandler& operator=(const ClockChangeHandler&) = delete;

private:
    Orv::EventConsumer<ClockChangeHandler, 1> _eventConsumer;
    NotificationServiceRunnable* _runnable;
};

}  // namespace OrvNbiNotificationService

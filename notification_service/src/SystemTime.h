// The one seam of time: everything that asks for the current time asks here.
#pragma once

#include <Poco/Timestamp.h>

namespace OrvNbiNotificationService
{

typedef Poco::Timestamp (*TimeSource)();

// A fresh timestamp of the system clock, or what the time source of a test gives. Any thread.
Poco::Timestamp currentTime();

// Null for the system clock.
void setTimeSource(TimeSource source);

}  // namespace OrvNbiNotificationService

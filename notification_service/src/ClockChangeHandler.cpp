#include "ClockChangeHandler.h"

#include "NotificationServiceRunnable.h"
#include "ServiceLog.h"

namespace OrvNbiNotificationService
{

ClockChangeHandler::ClockChangeHandler(NotificationServiceRunnable* runnable) : _runnable(runnable)
{
    NOTIF_TRACE(" >> ");
    _eventConsumer.start(std::vector<Orv::NameValuePair>(), &ClockChangeHandler::onClockChange_1, *this,
                         "ZelClockChangeEventType_1");
    NOTIF_TRACE(" << ");
}

ClockChangeHandler::~ClockChangeHandler()
{
    NOTIF_TRACE(" >> ");
    _eventConsumer.stop();
    NOTIF_TRACE(" << ");
}

void ClockChangeHandler::onClockChange_1(const char*, void* value)
{
    NOTIF_TRACE(" >> ");
    const ZelClockChangeEventType_1T nanoseconds = *static_cast<const ZelClockChangeEventType_1T*>(value);
    _runnable->systemClockChanged(static_cast<long long>(nanoseconds / 1000));
    NOTIF_TRACE(" << ");
}

}  // namespace OrvNbiNotificationService

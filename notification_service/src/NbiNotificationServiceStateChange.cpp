#include "NbiNotificationServiceStateChange.h"

namespace OrvNbiNotificationService
{

NbiNotificationServiceStateChange::NbiNotificationServiceStateChange(OrvStateChangeReason reason)
    : PipeMessage(Orv::MessageTypeStateChange), _reason(reason)
{
}

NbiNotificationServiceStateChange::~NbiNotificationServiceStateChange() = default;

}  // namespace OrvNbiNotificationService

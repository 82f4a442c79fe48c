#pragma once

#include "PipeMessage.h"
#include "ZelTypes.h"

namespace OrvNbiNotificationService
{

// The message that asks the service thread for a change of state.
class NbiNotificationServiceStateChange : public Orv::PipeMessage
{
public:
    explicit NbiNotificationServiceStateChange(OrvStateChangeReason reason);
    ~NbiNotificationServiceStateChange() override;

    OrvStateChangeReason _reason;
};

}  // namespace OrvNbiNotificationService

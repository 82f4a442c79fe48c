#pragma once

#include "OrvOamSpiNbiNotificationService_1.h"
#include "PipeMessage.h"

namespace OrvNbiNotificationService
{

// The message that carries a notification to the service thread. It owns a deep copy of the record.
// Failure: a record that cannot be copied leaves _notification null; the sender looks before it posts.
class NbiNotification : public Orv::PipeMessage
{
public:
    explicit NbiNotification(OrvOamSpiNbiNotificationValue_1* notification);
    ~NbiNotification() override;

    OrvOamSpiNbiNotificationValue_1* _notification;
};

}  // namespace OrvNbiNotificationService

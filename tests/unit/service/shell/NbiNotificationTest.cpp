// The two messages of the service thread's pipe.
#include "NbiNotification.h"

#include <gtest/gtest.h>

#include <memory>

#include "NbiNotificationServiceStateChange.h"
#include "Records.h"

using namespace OrvTest;

namespace
{

TEST(NbiNotification, IsAMessageOfTypeTwentyOne)
{
    const Notification notification = makeNotification(1000, "A=1", objectCreated);
    const OrvNbiNotificationService::NbiNotification message(&*notification);
    EXPECT_EQ(static_cast<int>(message.getMessageType()), 21);
}

TEST(NbiNotification, OwnsADeepCopyOfTheRecord)
{
    std::unique_ptr<Orv::PipeMessage> owner;
    const OrvOamSpiNbiNotificationValue_1* copy = nullptr;
    {
        const Notification notification =
            makeNotification(1000, "A=1", attributeChanged, {stringAttribute("name", "value")});
        auto* const message = new OrvNbiNotificationService::NbiNotification(&*notification);
        owner.reset(message);
        copy = message->_notification;
        ASSERT_NE(copy, nullptr);
        EXPECT_NE(copy, &*notification);
        EXPECT_NE(copy->dn, notification->dn);
    }
    EXPECT_EQ(copy->eventTime, 1000);
    EXPECT_STREQ(copy->dn, "A=1");
    EXPECT_EQ(copy->notificationType, attributeChanged);
    ASSERT_NE(copy->attributes[0], nullptr);
    EXPECT_STREQ(copy->attributes[0]->name, "name");
    EXPECT_STREQ(copy->attributes[0]->values[0].str, "value");
    EXPECT_EQ(copy->attributes[1], nullptr);
    owner.reset();
}

TEST(NbiNotification, HasANullPayloadForARecordThatCannotBeCopied)
{
    const Notification notification = makeNotification(1000, "A=1", attributeChanged, {uncopyableAttribute("bad")});
    const OrvNbiNotificationService::NbiNotification message(&*notification);
    EXPECT_EQ(message._notification, nullptr);
}

TEST(NbiNotificationServiceStateChange, IsAMessageOfTypeFiveWithItsReason)
{
    const OrvNbiNotificationService::NbiNotificationServiceStateChange message(ZelStateChangeFailover);
    EXPECT_EQ(static_cast<int>(message.getMessageType()), 5);
    EXPECT_EQ(message._reason, ZelStateChangeFailover);
}

}  // namespace

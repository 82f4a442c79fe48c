#include "NotificationUtils.h"

#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <thread>

#include "AllocationFault.h"
#include "AttributeLedger.h"
#include "ExpectedLeak.h"
#include "MoUtils.h"
#include "StorageTest.h"

namespace
{

using OrvTest::AllocationFault;
using OrvTest::AttributeLedger;
using OrvTest::int32Attribute;
using OrvTest::makeNotification;
using OrvTest::Notification;
using OrvTest::StrdupFault;
using OrvTest::stringAttribute;
using OrvTest::uncopyableAttribute;

class NotificationUtilsTest : public OrvTest::StorageTest
{
};

OwnedNotification copyOf(const Notification& notification)
{
    return OwnedNotification(NotificationUtils::copyNotification(*notification));
}

TEST_F(NotificationUtilsTest, CopiesEveryPlainFieldAsItStands)
{
    Notification source = makeNotification(1234567890123456, "A=1,B=2", attributeChanged);
    source->txHandle = 4294967295;
    source->sequenceNumber = 4294967294;
    const OwnedNotification copy = copyOf(source);
    EXPECT_EQ(copy->eventTime, 1234567890123456);
    EXPECT_STREQ(copy->dn, "A=1,B=2");
    EXPECT_EQ(copy->txHandle, 4294967295);
    EXPECT_EQ(copy->sequenceNumber, 4294967294);
    EXPECT_EQ(copy->notificationType, attributeChanged);
}

TEST_F(NotificationUtilsTest, CopiesTheEventTimesZeroNegativeAndExtreme)
{
    for (const int64_t time :
         {int64_t(0), int64_t(-1), std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()})
    {
        EXPECT_EQ(copyOf(OrvTest::at(time))->eventTime, time);
    }
}

TEST_F(NotificationUtilsTest, ACopyOfARecordWithNeitherDnNorAttributesHasAnArrayWithTheNullEntryAlone)
{
    Notification source(10, nullptr, heartbeatNotification, {});
    source->attributes = nullptr;
    OrvOamSpiNbiNotificationValue_1* copy = NotificationUtils::copyNotification(*source);
    EXPECT_EQ(copy->dn, nullptr);
    ASSERT_NE(copy->attributes, nullptr);
    EXPECT_EQ(copy->attributes[0], nullptr);
    NotificationUtils::deleteNotification(copy);
    EXPECT_EQ(copy, nullptr);
}

TEST_F(NotificationUtilsTest, ACopyOfAnEmptyArrayIsAnArrayOfItsOwnWithTheNullEntryAlone)
{
    const Notification source = makeNotification(10, "A=1", objectCreated);
    ASSERT_NE(source->attributes, nullptr);
    const OwnedNotification copy = copyOf(source);
    ASSERT_NE(copy->attributes, nullptr);
    EXPECT_NE(copy->attributes, source->attributes);
    EXPECT_EQ(copy->attributes[0], nullptr);
}

TEST_F(NotificationUtilsTest, CopiesTheAttributesInOrderUpToTheNullEntry)
{
    const Notification source =
        makeNotification(10, "A=1", objectCreated, {int32Attribute("x", -7), stringAttribute("y", "text")});
    const OwnedNotification copy = copyOf(source);
    ASSERT_NE(copy->attributes[0], nullptr);
    EXPECT_STREQ(copy->attributes[0]->name, "x");
    EXPECT_EQ(copy->attributes[0]->type, ZelMoAttributeInt32_3);
    EXPECT_EQ(copy->attributes[0]->values[0].i32, -7);
    ASSERT_NE(copy->attributes[1], nullptr);
    EXPECT_STREQ(copy->attributes[1]->name, "y");
    EXPECT_EQ(copy->attributes[1]->noOfValues, 1u);
    EXPECT_STREQ(copy->attributes[1]->values[0].str, "text");
    EXPECT_EQ(copy->attributes[2], nullptr);
}

TEST_F(NotificationUtilsTest, AskedForAnEmptyArrayTheLibraryCopiesNothing)
{
    const Notification source = makeNotification(10, "A=1", objectCreated);
    AttributeLedger ledger;
    const OwnedNotification copy = copyOf(source);
    EXPECT_TRUE(ledger.sources.empty());
}

TEST_F(NotificationUtilsTest, ACopyIsIndependentOfItsSource)
{
    Notification source =
        makeNotification(10, "A=1", attributeChanged, {int32Attribute("x", 1), stringAttribute("y", "old")});
    const OwnedNotification copy = copyOf(source);
    source->dn[0] = 'Z';
    source->attributes[0]->values[0].i32 = 2;
    const_cast<char*>(source->attributes[1]->values[0].str)[0] = 'X';
    source->attributes[0] = nullptr;
    EXPECT_STREQ(copy->dn, "A=1");
    EXPECT_EQ(copy->attributes[0]->values[0].i32, 1);
    EXPECT_STREQ(copy->attributes[1]->values[0].str, "old");
}

TEST_F(NotificationUtilsTest, NoPartOfACopyIsSharedWithItsSource)
{
    const Notification source = makeNotification(10, "A=1", attributeChanged, {int32Attribute("x", 1)});
    const OwnedNotification copy = copyOf(source);
    EXPECT_NE(copy.get(), &*source);
    EXPECT_NE(copy->dn, source->dn);
    EXPECT_NE(copy->attributes, source->attributes);
    EXPECT_NE(copy->attributes[0], source->attributes[0]);
    EXPECT_NE(copy->attributes[0]->name, source->attributes[0]->name);
    EXPECT_NE(copy->attributes[0]->values, source->attributes[0]->values);
}

TEST_F(NotificationUtilsTest, IsNullAndHasReleasedTheFirstCopyOnceWhenTheSecondOfThreeAttributesCannotBeCopied)
{
    const Notification source = makeNotification(
        10, "A=1", objectCreated, {int32Attribute("x", 1), uncopyableAttribute("y"), int32Attribute("z", 3)});
    framework.setLevel(8);
    framework.log().clear();
    AttributeLedger ledger;
    EXPECT_EQ(NotificationUtils::copyNotification(*source), nullptr);
    ASSERT_EQ(ledger.copies.size(), 1u);
    EXPECT_EQ(ledger.releases, ledger.copies);
    // The third attribute is not even looked at, and nobody is told.
    EXPECT_EQ(ledger.sources.size(), 2u);
    EXPECT_TRUE(framework.lines().empty());
}

TEST_F(NotificationUtilsTest, IsNullWhicheverAttributeCannotBeCopiedAndReleasesTheCopiesBeforeIt)
{
    for (unsigned int bad = 1; bad <= 4; ++bad)
    {
        const Notification source = makeNotification(
            10, "A=1", objectCreated,
            {int32Attribute("a", 1), stringAttribute("b", "2"), int32Attribute("c", 3), int32Attribute("d", 4)});
        AttributeLedger ledger;
        ledger.beforeCopy = [bad](unsigned int number)
        {
            if (number == bad)
            {
                throw std::bad_alloc();
            }
        };
        EXPECT_EQ(NotificationUtils::copyNotification(*source), nullptr) << bad;
        EXPECT_EQ(ledger.copies.size(), bad - 1);
        EXPECT_EQ(ledger.releases, ledger.copies) << bad;
        EXPECT_EQ(ledger.sources.size(), bad);
    }
}

TEST_F(NotificationUtilsTest, IsNullWhateverTheLibraryThrows)
{
    const Notification source = makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)});
    AttributeLedger ledger;
    ledger.beforeCopy = [](unsigned int) { throw 42; };
    EXPECT_EQ(NotificationUtils::copyNotification(*source), nullptr);
    ledger.beforeCopy = [](unsigned int) { throw std::runtime_error("no"); };
    EXPECT_EQ(NotificationUtils::copyNotification(*source), nullptr);
    EXPECT_TRUE(ledger.releases.empty());
}

TEST_F(NotificationUtilsTest, HasANullDnWhenStrdupGivesNull)
{
    const Notification source = makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)});
    OwnedNotification copy;
    {
        StrdupFault noMemory;
        copy = copyOf(source);
    }
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->dn, nullptr);
    EXPECT_STREQ(copy->attributes[0]->name, "x");
}

// The record, then the array; what was made before the failure is lost.
TEST_F(NotificationUtilsTest, LetsTheFailureOfEitherAllocationOutToTheCaller)
{
    const Notification source = makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)});
    OwnedNotification copy;
    unsigned int failures = 0;
    for (bool failed = true; failed && failures < 10;)
    {
        bool thrown = false;
        {
            const OrvTest::ExpectedLeak lost;
            AllocationFault failing(failures + 1);
            try
            {
                copy.reset(NotificationUtils::copyNotification(*source));
            }
            catch (const std::bad_alloc&)
            {
                thrown = true;
            }
            failed = failing.met();
        }
        EXPECT_EQ(thrown, failed);
        EXPECT_EQ(copy == nullptr, failed);
        failures += failed ? 1 : 0;
    }
    EXPECT_EQ(failures, 2u);
}

TEST_F(NotificationUtilsTest, DeletingANullPointerDoesNothing)
{
    OrvOamSpiNbiNotificationValue_1* none = nullptr;
    AttributeLedger ledger;
    NotificationUtils::deleteNotification(none);
    EXPECT_EQ(none, nullptr);
    EXPECT_TRUE(ledger.releases.empty());
}

TEST_F(NotificationUtilsTest, DeletingLeavesTheCallersPointerNullSoThatASecondCallDoesNothing)
{
    const Notification source = makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)});
    OrvOamSpiNbiNotificationValue_1* copy = NotificationUtils::copyNotification(*source);
    AttributeLedger ledger;
    NotificationUtils::deleteNotification(copy);
    EXPECT_EQ(copy, nullptr);
    NotificationUtils::deleteNotification(copy);
    EXPECT_EQ(ledger.releases.size(), 1u);
}

TEST_F(NotificationUtilsTest, DeletingReleasesEachAttributeOnceInOrder)
{
    const Notification source = makeNotification(
        10, "A=1", objectCreated, {int32Attribute("a", 1), stringAttribute("b", "2"), int32Attribute("c", 3)});
    AttributeLedger ledger;
    OrvOamSpiNbiNotificationValue_1* copy = NotificationUtils::copyNotification(*source);
    NotificationUtils::deleteNotification(copy);
    EXPECT_EQ(ledger.copies.size(), 3u);
    EXPECT_EQ(ledger.releases, ledger.copies);
}

// The address sanitizer sees a release that does not fit its allocation.
TEST_F(NotificationUtilsTest, DeletesARecordThatWasBuiltByHand)
{
    auto* bare = new OrvOamSpiNbiNotificationValue_1();
    bare->dn = strdup("A=1");
    NotificationUtils::deleteNotification(bare);
    EXPECT_EQ(bare, nullptr);

    auto* withArray = new OrvOamSpiNbiNotificationValue_1();
    withArray->attributes = new ZelMoNamedAttributeValueContainer_3*[1]();
    NotificationUtils::deleteNotification(withArray);
    EXPECT_EQ(withArray, nullptr);
}

TEST_F(NotificationUtilsTest, ThePiecesOfACopyCanBeReleasedByHand)
{
    const Notification source = makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)});
    OrvOamSpiNbiNotificationValue_1* const copy = NotificationUtils::copyNotification(*source);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->dn, "A=1");
    std::free(copy->dn);
    Orv::MoUtils::deleteAttributeValueContainer(copy->attributes[0]);
    EXPECT_EQ(copy->attributes[1], nullptr);
    delete[] copy->attributes;
    delete copy;
}

TEST_F(NotificationUtilsTest, AnOwnedRecordIsFreedWhenAListCannotTakeIt)
{
    struct RefusingList
    {
        void push_back(OrvOamSpiNbiNotificationValue_1*) { throw std::bad_alloc(); }
    };
    const Notification source = makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)});
    RefusingList list;
    AttributeLedger ledger;
    EXPECT_THROW(appendOwned(list, copyOf(source)), std::bad_alloc);
    EXPECT_EQ(ledger.releases, ledger.copies);
    EXPECT_EQ(ledger.copies.size(), 1u);
}

TEST_F(NotificationUtilsTest, SeveralThreadsMayCopyAndDeleteAtTheSameTime)
{
    const Notification shared =
        makeNotification(10, "A=1", attributeChanged, {int32Attribute("x", 1), stringAttribute("y", "text")});
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number)
    {
        threads.emplace_back(
            [&shared]
            {
                for (int i = 0; i < 200; ++i)
                {
                    const OwnedNotification copy = copyOf(shared);
                    EXPECT_STREQ(copy->attributes[1]->values[0].str, "text");
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
}

}  // namespace

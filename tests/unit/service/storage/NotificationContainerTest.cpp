#include "NotificationContainer.h"

#include <new>
#include <type_traits>

#include "AllocationFault.h"
#include "AttributeLedger.h"
#include "ExpectedLeak.h"
#include "StorageTest.h"

namespace
{

using OrvNbiNotificationService::NotificationContainer;
using OrvTest::at;
using OrvTest::AttributeLedger;
using OrvTest::int32Attribute;
using OrvTest::makeNotification;
using OrvTest::Notification;
using OrvTest::times;

typedef std::vector<int64_t> Times;

TEST(NotificationContainer, StartsEmpty)
{
    const NotificationContainer container;
    EXPECT_TRUE(container._notifications.empty());
    static_assert(std::has_virtual_destructor<NotificationContainer>::value, "the destructor is virtual");
}

TEST(NotificationContainer, AppendsDeepCopiesWhateverTheirTimes)
{
    NotificationContainer container;
    Notification source = makeNotification(20, "A=1", attributeChanged, {int32Attribute("x", 1)});
    container.addNotification(*source);
    container.addNotification(*at(10));
    source->dn[0] = 'Z';
    source->attributes[0]->values[0].i32 = 2;
    EXPECT_EQ(times(container._notifications), (Times{20, 10}));
    EXPECT_STREQ(container._notifications.front()->dn, "A=1");
    EXPECT_EQ(container._notifications.front()->attributes[0]->values[0].i32, 1);
}

TEST(NotificationContainer, ClearAllFreesFromFirstToLastAndLeavesAListThatCanBeUsedAgain)
{
    NotificationContainer container;
    AttributeLedger ledger;
    for (const int64_t time : {30, 20, 10})
    {
        container.addNotification(*makeNotification(time, "A=1", objectCreated, {int32Attribute("x", 1)}));
    }
    container.clearAll();
    EXPECT_EQ(ledger.copies.size(), 3u);
    EXPECT_EQ(ledger.releases, ledger.copies);
    EXPECT_TRUE(container._notifications.empty());
    container.clearAll();
    container.addNotification(*at(40));
    EXPECT_EQ(times(container._notifications), Times{40});
}

TEST(NotificationContainer, TheDestructorFreesWhatIsLeft)
{
    AttributeLedger ledger;
    {
        NotificationContainer container;
        container.addNotification(*makeNotification(10, "A=1", objectCreated, {int32Attribute("x", 1)}));
    }
    EXPECT_EQ(ledger.copies.size(), 1u);
    EXPECT_EQ(ledger.releases, ledger.copies);
}

// The record, its array, the list's node: whichever fails, the list is as it was.
TEST(NotificationContainer, ARecordThatFindsNoMemoryChangesNothing)
{
    NotificationContainer container;
    container.addNotification(*at(10));
    const Notification source = makeNotification(20, "A=1", objectCreated, {int32Attribute("x", 1)});
    unsigned int failures = 0;
    for (bool failed = true; failed && failures < 10;)
    {
        {
            const OrvTest::ExpectedLeak lost;
            OrvTest::AllocationFault failing(failures + 1);
            try
            {
                container.addNotification(*source);
            }
            catch (const std::bad_alloc&)
            {
            }
            failed = failing.met();
        }
        EXPECT_EQ(times(container._notifications), failed ? Times{10} : (Times{10, 20}));
        failures += failed ? 1 : 0;
    }
    EXPECT_EQ(failures, 3u);
}

TEST(NotificationContainer, ACopyThatTheListCannotTakeIsFreed)
{
    NotificationContainer container;
    const Notification source = makeNotification(20, "A=1", objectCreated, {int32Attribute("x", 1)});
    bool thrown = false;
    {
        OrvTest::AllocationFault failing(3);
        try
        {
            container.addNotification(*source);
        }
        catch (const std::bad_alloc&)
        {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
    EXPECT_TRUE(container._notifications.empty());
}

}  // namespace
